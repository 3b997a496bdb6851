// Log_Win32_Process_Mutex: the logger's cross-process lock.  On this
// platform every operation does nothing and succeeds, so records written
// by parallel threads are not serialised by it; supply a Log_Thread_Mutex
// through the output object when that is needed.
//
// Holds a handle word and a name buffer, both zero from construction; the
// destructor is trivial, so owners free it with a plain delete after close().
#ifndef TAVN_LOG_LOG_WIN32_PROCESS_MUTEX_H_
#define TAVN_LOG_LOG_WIN32_PROCESS_MUTEX_H_

#include "log/log_mutex.h"

class Log_Win32_Process_Mutex final : public Log_Mutex {
 public:
  // Does nothing (the name is not stored).  Returns 0.
  int open(const char* name) override;
  // Does nothing.  Returns 0.
  int close(bool flag) override;
  // Does nothing.  Returns 0.
  int acquire(int timeout) override;
  // Does nothing.  Returns 0.
  int release() override;
  // The name buffer, which stays empty.
  const char* name() override;

 private:
  unsigned long handle_ = 0;
  char name_[252] = {};
};

#endif  // TAVN_LOG_LOG_WIN32_PROCESS_MUTEX_H_
