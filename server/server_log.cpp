#include "server/server_log.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>

namespace tavn::server {
namespace {

std::mutex g_mu;           // guards a change of descriptor
std::atomic<int> g_fd{2};  // where lines go

}  // namespace

std::string log_to(const std::string& path) {
  int fd = 2;
  if (!path.empty()) {
    fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    if (fd < 0) return "cannot open the log " + path + ": " + std::strerror(errno);
  }
  std::lock_guard<std::mutex> lock(g_mu);
  const int old = g_fd.exchange(fd);
  if (old != 2) close(old);
  return "";
}

int log_fd() { return g_fd.load(); }

void log_line(std::string_view message) {
  timeval tv{};
  gettimeofday(&tv, nullptr);
  tm t{};
  gmtime_r(&tv.tv_sec, &t);
  char stamp[64];
  const size_t n = strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &t);
  std::string line(stamp, n);
  char rest[48];
  snprintf(rest, sizeof rest, ".%03dZ tavnd[%d]: ", static_cast<int>(tv.tv_usec / 1000),
           static_cast<int>(getpid()));
  line += rest;
  for (char c : message) line += static_cast<unsigned char>(c) < 0x20 || c == 0x7f ? '?' : c;
  line += '\n';
  std::lock_guard<std::mutex> lock(g_mu);
  const ssize_t written = write(g_fd.load(), line.data(), line.size());
  (void)written;  // nowhere left to report a failing log
}

}  // namespace tavn::server
