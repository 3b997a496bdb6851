# Front-end throughput: audio streamed through Talvern_Impl from the scripted engine.
add_executable(bench_synth ${CMAKE_CURRENT_LIST_DIR}/bench_synth.cpp)
target_link_libraries(bench_synth PRIVATE tavn_synth kavritts_scripted)
