#include "synth/tavn_logger.h"

#include <cstdint>

namespace tavn::synth {

void tavn_logger_open() {
  TavnLogCfg cfg;
  cfg.file_name_ = "./tavn.log";
  cfg.title_ = "Talvern Logging";
  // The module handle has all bits set: it names no module of its own.
  void* module = reinterpret_cast<void*>(~uintptr_t{0});
  TavnLogSingleton::open("./tavn.cfg", nullptr, &cfg, module, nullptr, nullptr);
}

void tavn_logger_release() { TavnLogSingleton::release(); }

}  // namespace tavn::synth
