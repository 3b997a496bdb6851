// Log_Impl_T::check_config: follows edits of the configuration file while
// the logger runs.  Called first thing for every record.  Included by
// log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_
#define TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_

#include <sys/stat.h>

#include <ctime>

// At most once in 11 seconds, and only when the configuration file's
// modification time changed (its disappearing included), re-reads the file
// and takes output, level, style and flush from it; console_level takes
// the new level, on purpose.  All other settings stay as opened.  Returns 0.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::check_config() {
  const int32_t now = static_cast<int32_t>(std::time(nullptr));
  // Tested before the lock is taken: read and written atomically.
  if (now - __atomic_load_n(&last_cfg_check, __ATOMIC_RELAXED) <= 10) return 0;
  // The copy and the file read below may throw (no memory): the guard gives
  // the lock back and the exception leaves the record.
  Log_Lock_Guard guard(mutex_);
  struct stat st;
  const int32_t mtime =
      stat(cfg_.cfg_file(), &st) == 0 ? static_cast<int32_t>(st.st_mtime) : 0;
  if (mtime != cfg_.cfg_mtime) {
    cfg_.cfg_mtime = mtime;
    CFG fresh(cfg_);
    fresh.read_config(nullptr, nullptr);
    // Records of other threads read these without the lock.
    set_live(cfg_.output_, fresh.output_);
    set_live(cfg_.level_, fresh.level_);
    set_live(cfg_.console_level_, fresh.level_);
    set_live(cfg_.flush_always_, fresh.flush_always_);
    set_live(cfg_.style_, fresh.style_);
  }
  __atomic_store_n(&last_cfg_check, now, __ATOMIC_RELAXED);
  return 0;
}

#endif  // TAVN_LOG_LOG_IMPL_CHECK_CONFIG_H_
