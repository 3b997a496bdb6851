#include "log/log_process.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace KAVRI_LOG {

namespace {

// 0 until first asked for.  getpid() is a system call every time, and every
// record shows the id, so it is kept; the fork handler makes a child ask
// again.  The handler goes away with the library (registered with its
// module handle).
std::atomic<int> cached_pid{0};

void forget_pid() { cached_pid.store(0, std::memory_order_relaxed); }

int read_pid() {
  static const bool registered = (pthread_atfork(nullptr, nullptr, forget_pid), true);
  (void)registered;
  const int pid = static_cast<int>(getpid());
  cached_pid.store(pid, std::memory_order_relaxed);
  return pid;
}

}  // namespace

int process_id() {
  const int pid = cached_pid.load(std::memory_order_relaxed);
  return pid != 0 ? pid : read_pid();
}

unsigned thread_id() { return static_cast<unsigned>(pthread_self()); }

}  // namespace KAVRI_LOG
