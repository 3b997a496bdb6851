// Log_Thread_Mutex: an in-process lock on a heap-allocated pthread mutex.
// An output object or a caller can hand one to the logger when records of
// several threads must be serialised.
//
// Thread safety: acquire()/release() may be called from any thread while
// the lock is open; open() and close() must not race with them.
#ifndef TAVN_LOG_LOG_THREAD_MUTEX_H_
#define TAVN_LOG_LOG_THREAD_MUTEX_H_

#include <pthread.h>

#include "log/log_mutex.h"

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

#endif  // TAVN_LOG_LOG_THREAD_MUTEX_H_
