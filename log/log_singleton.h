// The process-wide logger: Kavri_Singleton_T, the holder of one object of a
// type, and Log_Singleton<IO, LOCK, CFG>, which creates the logger
// (Kavri_Singleton_T<Log_Impl_T<IO, LOCK, CFG>>) on first use, opens it with
// the merged configuration, and releases it at the end.
//
// Thread safety: open() and release() take no lock of their own.  Callers
// run them once each, serialised (the front end does both inside its
// one-time start-up and its exit hook).  The instance pointer is published
// with release semantics only once the logger is open, so a thread that
// reads it (with acquire) never sees a half-opened logger.
//
// Records while the logger is released (process exit, library unload):
// callers that may run on other threads at that moment reach the logger
// only through a Use.  A Use counts itself into a gate word before it reads
// the instance pointer and out when it ends.  release() first closes the
// gate (new Uses find it closed and are skipped: the record is not
// written), then waits until the count of Uses in flight is zero, and only
// then closes and deletes the logger.  So no record ever runs on a closed,
// half-closed or deleted logger, and no thread can meet the lock pointer
// that close() clears.  A record in flight needs microseconds; should Uses
// still be in flight after kDrainMillis (a thread stopped inside a record,
// or blocked writing the console), release() leaves the logger open and
// registered rather than delete it under them: the process's exit then
// flushes its stream.
#ifndef TAVN_LOG_LOG_SINGLETON_H_
#define TAVN_LOG_LOG_SINGLETON_H_

#include <sched.h>
#include <time.h>

#include <atomic>
#include <cstdint>

#include "log/log_cfg.h"
#include "log/log_impl.h"
#include "log/log_io.h"
#include "log/log_os.h"

// Process-wide holder of one object of type T: the instance pointer, the
// count of successful first-time opens not yet released, and whether the
// holder created the instance and must delete it.  Each accessor returns a
// reference to a function-local static.
//
// Thread safety: none of its own.  Callers serialise creation and release
// (the front end does both inside its one-time start-up and its exit hook).
template <typename T>
class Kavri_Singleton_T {
 public:
  static T*& instance() {
    static T* the_inst = nullptr;
    return the_inst;
  }
  static int& ref_count() {
    static int reference_count_ = 0;
    return reference_count_;
  }
  // The spelling of this accessor's name is kept: other code refers to it.
  static bool& need_delelte() {
    static bool delete_instance_ = false;
    return delete_instance_;
  }
};

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
    gate().fetch_and(~kClosed);  // a released logger's gate opens again
    __atomic_store_n(&Holder::instance(), logger, __ATOMIC_RELEASE);
    return r;
  }

  // Stops new records, waits for those in flight (at most kDrainMillis),
  // then closes the logger (on every release) and drops one reference; the
  // last reference deletes a logger this class created.  When records are
  // still in flight after the wait, nothing is closed or deleted.
  static void release() {
    Logger* logger = current();
    if (logger == nullptr) return;
    gate().fetch_or(kClosed);
    if (!drained()) return;  // left open and registered for the stragglers
    logger->close();
    if (--Holder::ref_count() <= 0 && Holder::need_delelte()) {
      __atomic_store_n(&Holder::instance(), static_cast<Logger*>(nullptr), __ATOMIC_RELEASE);
      Holder::need_delelte() = false;
      delete logger;
    } else {
      gate().fetch_and(~kClosed);  // still registered: records go on (to the console)
    }
  }

  // The logger, or null.  Only for callers that cannot race with release();
  // others use a Use.
  static Logger* current() { return __atomic_load_n(&Holder::instance(), __ATOMIC_ACQUIRE); }

  // One use of the logger by a caller that may run while it is released:
  //   if (Log_Singleton<...>::Use log{}; log) log->log_error(...);
  // Null (false) when there is no logger or it is being released; otherwise
  // the logger stays alive and open until the Use ends.  Cheap: two atomic
  // operations.  Must not outlive its scope or move between threads.
  class Use {
   public:
    Use() : logger_(enter()) {}
    ~Use() {
      if (logger_ != nullptr) gate().fetch_sub(1, std::memory_order_release);
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    explicit operator bool() const { return logger_ != nullptr; }
    Logger* operator->() const { return logger_; }
    Logger* get() const { return logger_; }

   private:
    static Logger* enter() {
      const uint32_t was = gate().fetch_add(1, std::memory_order_acquire);
      Logger* logger = (was & kClosed) == 0 ? current() : nullptr;
      if (logger == nullptr) gate().fetch_sub(1, std::memory_order_release);
      return logger;
    }
    Logger* const logger_;
  };

  // How long release() waits for records in flight.
  static constexpr int kDrainMillis = 2000;

 private:
  static constexpr uint32_t kClosed = 0x80000000u;

  // Bit 31: closed by release(); bits 0-30: Uses in flight.  Constant
  // initialised and never destroyed, so it stays valid during exit.
  static std::atomic<uint32_t>& gate() {
    static std::atomic<uint32_t> word{0};
    return word;
  }

  // Waits until no Use is in flight; false when some still are after
  // kDrainMillis.
  static bool drained() {
    for (int waited_us = 0; waited_us < kDrainMillis * 1000;) {
      if ((gate().load(std::memory_order_acquire) & ~kClosed) == 0) return true;
      if (waited_us < 1000) {
        sched_yield();
        waited_us += 10;
      } else {
        const timespec pause{0, 1000000};  // 1 ms
        nanosleep(&pause, nullptr);
        waited_us += 1000;
      }
    }
    return (gate().load(std::memory_order_acquire) & ~kClosed) == 0;
  }
};

#endif  // TAVN_LOG_LOG_SINGLETON_H_
