// The locks the logger brackets its file operations with: the interface
// Log_Mutex, its two implementations and a scoped guard.
//
//   Log_Win32_Process_Mutex - the logger's own lock: one process-local
//                             mutex shared by every instance;
//   Log_Thread_Mutex        - an in-process lock of its own, on a pthread
//                             mutex, for callers that bring their own lock;
//   Log_Lock_Guard          - holds a Log_Mutex for one scope.
//
// No virtual destructor: an owner frees a lock object through its own
// concrete type after calling close().
#ifndef TAVN_LOG_LOG_MUTEX_H_
#define TAVN_LOG_LOG_MUTEX_H_

#include <pthread.h>

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

// Log_Lock_Guard: holds a Log_Mutex for one scope.  The lock is taken with
// acquire(-1) on construction and given back on every way out of the scope,
// an exception included, through the same lock object that was acquired
// (a logger's lock pointer may change meanwhile).  A null lock, or one whose
// acquire() fails, is neither held nor released.
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

// Log_Thread_Mutex: an in-process lock on a heap-allocated pthread mutex.
// An output object or a caller can hand one to the logger when records of
// several threads must be serialised.
//
// Thread safety: acquire()/release() may be called from any thread while
// the lock is open; open() and close() must not race with them.
class Log_Thread_Mutex final : public Log_Mutex {
 public:
  Log_Thread_Mutex() = default;
  Log_Thread_Mutex(const Log_Thread_Mutex&) = delete;
  Log_Thread_Mutex& operator=(const Log_Thread_Mutex&) = delete;
  // Closes the mutex if it is still open.
  ~Log_Thread_Mutex();

  // Closes any earlier mutex, then creates one with default attributes.
  // `name` is ignored.  Returns pthread_mutex_init's result, or ENOMEM.
  int open(const char* name) override;
  // Destroys and frees the mutex if there is one.  Returns 0.
  int close(bool flag) override;
  // Blocks until locked; `timeout` is ignored.  Returns 0, or -1 when the
  // lock is not open.
  int acquire(int timeout) override;
  // Unlocks.  Returns 0, or -1 when the lock is not open.
  int release() override;
  // Always null: the lock has no name.
  const char* name() override;

 private:
  pthread_mutex_t* mutex_ = nullptr;
};

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

#endif  // TAVN_LOG_LOG_MUTEX_H_
