// Log_Singleton<IO, LOCK, CFG>: creates the process-wide logger
// (Kavri_Singleton_T<Log_Impl_T<IO, LOCK, CFG>>) on first use, opens it with
// the merged configuration, and releases it at the end.
//
// Thread safety: open() and release() take no lock of their own.  Callers
// run them once each, serialised (the front end does both inside its
// one-time start-up and its exit hook).  The instance pointer is published
// with release semantics only once the logger is open, so a thread that
// reads it (with acquire) never sees a half-opened logger.
#ifndef TAVN_LOG_LOG_SINGLETON_H_
#define TAVN_LOG_LOG_SINGLETON_H_

#include "log/kavri_singleton.h"
#include "log/log_cfg_merge.h"
#include "log/log_impl.h"
#include "log/log_io.h"
#include "log/path_norm.h"

template <class IO, class LOCK, class CFG>
class Log_Singleton {
 public:
  using Logger = Log_Impl_T<IO, LOCK, CFG>;
  using Holder = Kavri_Singleton_T<Logger>;

  // Builds the effective configuration - defaults, then io's configuration
  // (when io carries one), then `cfg` (when given), then section `section`
  // of the configuration file - and opens the logger with it.  The file
  // read is `cfg_file`, or, only when `section` is given too, the one named
  // by io's configuration.  `module`, when given, is stored after the read.
  // Every pointer may be null.  Returns open(cfg, io, arg)'s result.
  static int open(const char* cfg_file, const char* section, const CFG* cfg, void* module,
                  Log_IO* io, void* arg) {
    CFG merged;
    const Log_Cfg* io_cfg = io != nullptr ? io->config() : nullptr;
    if (io_cfg != nullptr) take_output_settings(merged, *io_cfg);
    if (cfg != nullptr) merged = *cfg;
    const char* file = cfg_file;
    if (file == nullptr && io_cfg != nullptr && section != nullptr) file = io_cfg->cfg_file();
    merged.read_config(section, file);
    if (module != nullptr) merged.module_ = module;
    return open(merged, io, arg);
  }

  // Creates and opens the logger unless one exists (then returns 0 and
  // changes nothing).  A relative log file name is normalised first.  Each
  // creation takes a reference.  Returns the logger's open() result; a
  // logger whose open failed stays registered.
  static int open(const CFG& cfg, Log_IO* io, void* arg) {
    if (current() != nullptr) return 0;
    CFG local(cfg);
    // Relative names hang off the module directory, which is empty here.
    KAVRI_LOG::resolve_relative_path(local.file_name_);
    Logger* logger = new Logger;
    Holder::need_delelte() = true;
    ++Holder::ref_count();
    int r = logger->open(&local, dynamic_cast<IO*>(io), arg);
    __atomic_store_n(&Holder::instance(), logger, __ATOMIC_RELEASE);
    return r;
  }

  // Closes the logger (on every release) and drops one reference; the last
  // reference deletes a logger this class created.
  static void release() {
    Logger* logger = current();
    if (logger == nullptr) return;
    logger->close();
    if (--Holder::ref_count() <= 0 && Holder::need_delelte()) {
      __atomic_store_n(&Holder::instance(), static_cast<Logger*>(nullptr), __ATOMIC_RELEASE);
      Holder::need_delelte() = false;
      delete logger;
    }
  }

  // The logger, or null.
  static Logger* current() { return __atomic_load_n(&Holder::instance(), __ATOMIC_ACQUIRE); }
};

#endif  // TAVN_LOG_LOG_SINGLETON_H_
