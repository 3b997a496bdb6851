#include "log/log_mutex.h"

#include <cerrno>
#include <mutex>
#include <new>

// ---- Log_Thread_Mutex.

Log_Thread_Mutex::~Log_Thread_Mutex() { close(false); }

int Log_Thread_Mutex::open(const char*) {
  close(false);
  pthread_mutex_t* m = new (std::nothrow) pthread_mutex_t;
  if (m == nullptr) return ENOMEM;
  const int rc = pthread_mutex_init(m, nullptr);
  if (rc != 0) {
    delete m;  // never initialised: nothing to destroy
    return rc;
  }
  mutex_ = m;
  return 0;
}

int Log_Thread_Mutex::close(bool) {
  if (mutex_ != nullptr) {
    pthread_mutex_destroy(mutex_);
    delete mutex_;
    mutex_ = nullptr;
  }
  return 0;
}

// A lock that was never opened has nothing to hold: -1 instead of a crash.
int Log_Thread_Mutex::acquire(int) {
  if (mutex_ == nullptr) return -1;
  pthread_mutex_lock(mutex_);
  return 0;
}

int Log_Thread_Mutex::release() {
  if (mutex_ == nullptr) return -1;
  pthread_mutex_unlock(mutex_);
  return 0;
}

const char* Log_Thread_Mutex::name() { return nullptr; }

// ---- Log_Win32_Process_Mutex.

namespace {

// One mutex for the process.  Made on first use and never destroyed, so it
// is usable from exit hooks and by threads still waiting when a logger
// frees its lock object.
std::mutex& process_mutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}

}  // namespace

int Log_Win32_Process_Mutex::open(const char*) { return 0; }

int Log_Win32_Process_Mutex::close(bool) { return 0; }

int Log_Win32_Process_Mutex::acquire(int) {
  process_mutex().lock();
  return 0;
}

int Log_Win32_Process_Mutex::release() {
  process_mutex().unlock();
  return 0;
}

const char* Log_Win32_Process_Mutex::name() { return name_; }
