// The process-wide module object: starts the logger and the engine once, on
// the first request, and stops both at process exit or library unload.
#ifndef TAVN_SYNTH_TTS_MODULE_H_
#define TAVN_SYNTH_TTS_MODULE_H_

#include <cstdint>

namespace tavn::synth {

class TTSModule {
 public:
  // Runs the start-up once per process and returns init_result, the result
  // of the one TTSInitialize call (0 = engine ready).  Concurrent first
  // callers wait for the one that runs it.  If the logger start-up throws,
  // the exception leaves this call and the next call runs the start-up
  // again; a failed TTSInitialize is kept for good.  Thread-safe.
  static uint32_t start();

  // Replaces the logger start-up step, so tests can make it throw.  Call
  // before the first request.
  static void set_logger_opener(void (*opener)());
};

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_TTS_MODULE_H_
