#include "synth/tts_module.h"

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "synth/kavritts.h"
#include "synth/tavn_logger.h"

namespace tavn::synth {

namespace {

std::mutex start_mutex;
std::atomic<bool> started{false};
uint32_t init_result = 0;  // written once, under start_mutex, before `started`
void (*logger_opener)() = tavn_logger_open;

// Exit hook: the logger is closed first, so nothing of the engine's shutdown
// is logged.  atexit() from a shared object runs at dlclose() too.  Requests
// may still run on other threads: their records are either finished before
// the logger closes or skipped (tavn_logger_release).
void shutdown() {
  tavn_logger_release();
  TTSUninitialize();
}

}  // namespace

uint32_t TTSModule::start() {
  if (!started.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> lock(start_mutex);
    if (!started.load(std::memory_order_relaxed)) {
      logger_opener();  // may throw: start-up then stays undone
      init_result = TTSInitialize();
      std::atexit(shutdown);
      started.store(true, std::memory_order_release);
    }
  }
  return init_result;
}

void TTSModule::set_logger_opener(void (*opener)()) { logger_opener = opener; }

}  // namespace tavn::synth
