// Log_Mutex: the lock interface the logger brackets its file operations
// with.  Implementations: Log_Thread_Mutex (a real in-process lock) and
// Log_Win32_Process_Mutex (the logger's default, which does nothing here).
//
// No virtual destructor: an owner frees a lock object through its own
// concrete type after calling close().
#ifndef TAVN_LOG_LOG_MUTEX_H_
#define TAVN_LOG_LOG_MUTEX_H_

class Log_Mutex {
 public:
  // Prepares the lock; `name` may identify a lock shared between processes.
  // Returns 0 on success, otherwise an error number.
  virtual int open(const char* name) = 0;
  // Releases what open() prepared.  Returns 0.
  virtual int close(bool flag) = 0;
  // Waits for the lock; `timeout` in milliseconds, -1 waits without limit.
  // Returns 0 once held, otherwise a non-zero value.
  virtual int acquire(int timeout) = 0;
  // Gives the lock back.  Returns 0 on success.
  virtual int release() = 0;
  // The lock's name, or null when it has none.
  virtual const char* name() = 0;

 protected:
  ~Log_Mutex() = default;
};

#endif  // TAVN_LOG_LOG_MUTEX_H_
