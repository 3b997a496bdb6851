// Log_Lock_Guard: holds a Log_Mutex for one scope.  The lock is taken with
// acquire(-1) on construction and given back on every way out of the scope,
// an exception included, through the same lock object that was acquired
// (a logger's lock pointer may change meanwhile).  A null lock, or one whose
// acquire() fails, is neither held nor released.
#ifndef TAVN_LOG_LOG_LOCK_GUARD_H_
#define TAVN_LOG_LOG_LOCK_GUARD_H_

#include "log/log_mutex.h"

class Log_Lock_Guard {
 public:
  explicit Log_Lock_Guard(Log_Mutex* mutex)
      : mutex_(mutex != nullptr && mutex->acquire(-1) == 0 ? mutex : nullptr) {}
  ~Log_Lock_Guard() {
    if (mutex_ != nullptr) mutex_->release();
  }
  Log_Lock_Guard(const Log_Lock_Guard&) = delete;
  Log_Lock_Guard& operator=(const Log_Lock_Guard&) = delete;

 private:
  Log_Mutex* const mutex_;
};

#endif  // TAVN_LOG_LOG_LOCK_GUARD_H_
