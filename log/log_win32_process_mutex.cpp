#include "log/log_win32_process_mutex.h"

#include <mutex>

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
