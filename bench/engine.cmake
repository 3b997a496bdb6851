# Speech engine speed: TalvernSynth through the speech engine next to the
# espeak-ng (or flite) command writing the same text to a WAVE file.
if(TAVN_SPEECH_ENGINE)
  add_executable(bench_engine ${CMAKE_CURRENT_LIST_DIR}/bench_engine.cpp)
  target_link_libraries(bench_engine PRIVATE tavn)
  tavn_use_speech_engine(bench_engine)
endif()
