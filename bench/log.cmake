# Logger throughput next to spdlog with a file sink flushed per record
# (x86_64, only when Debian's libspdlog-dev is installed).
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  find_package(spdlog QUIET)
  if(spdlog_FOUND)
    add_executable(bench_log ${CMAKE_CURRENT_LIST_DIR}/bench_log.cpp)
    target_link_libraries(bench_log PRIVATE tavn_log spdlog::spdlog)
  else()
    message(STATUS "spdlog not found: bench_log is not built")
  endif()
endif()
