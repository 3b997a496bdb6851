# Soak: many threads making requests with every level logged and a small
# rotation limit; memory and descriptors must stay flat.
add_executable(bench_soak ${CMAKE_CURRENT_LIST_DIR}/bench_soak.cpp)
target_link_libraries(bench_soak PRIVATE tavn_synth kavritts_scripted)
