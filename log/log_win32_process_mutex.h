// Log_Win32_Process_Mutex: the logger's lock.  Every instance in a process
// stands for one process-local mutex, whatever its name: the logger brackets
// each file operation (a record's size check, rotation, write and flush;
// write, flush, write_bound, open, close and the configuration re-check)
// with acquire(-1)/release(), and requests on many threads share one log
// file, so these must exclude each other between threads.  Nothing is
// locked across processes.
//
// Not recursive: a holder must not acquire again.  The mutex outlives every
// instance (it is never destroyed), so a thread waiting in acquire() is not
// harmed when the logger frees its lock object.
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
  // Blocks until this thread holds the process's logger mutex; `timeout` is
  // not used.  Returns 0.
  int acquire(int timeout) override;
  // Gives the mutex back.  Returns 0.
  int release() override;
  // The name buffer, which stays empty.
  const char* name() override;

 private:
  [[maybe_unused]] unsigned long handle_ = 0;  // a handle word kept for layout; unused here
  char name_[252] = {};
};

#endif  // TAVN_LOG_LOG_WIN32_PROCESS_MUTEX_H_
