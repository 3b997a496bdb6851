#include "tools/temp_files.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace tavn::say {
namespace {

constexpr int kSlots = 8;  // four files, each with its ".tmp" twin
constexpr size_t kNameMax = 4096;
char g_names[kSlots][kNameMax];
volatile sig_atomic_t g_used[kSlots];
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

void unlink_all() {
  for (int i = 0; i < kSlots; ++i) {
    if (g_used[i]) unlink(g_names[i]);
  }
}

void on_signal(int sig) {
  unlink_all();
  signal(sig, SIG_DFL);
  raise(sig);
}

bool add(const std::string& name) {
  if (name.size() >= kNameMax) return false;
  for (int i = 0; i < kSlots; ++i) {
    if (g_used[i]) continue;
    std::memcpy(g_names[i], name.c_str(), name.size() + 1);
    g_used[i] = 1;  // set after the name is complete: the handler never reads half a name
    return true;
  }
  return false;
}

}  // namespace

void install_temp_file_cleanup() {
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = on_signal;
  sigemptyset(&sa.sa_mask);
  for (int sig : kSignals) sigaddset(&sa.sa_mask, sig);  // one handler at a time
  for (int sig : kSignals) sigaction(sig, &sa, nullptr);
}

std::string make_temp_file(const char* suffix) {
  const char* dir = getenv("TMPDIR");
  std::string name =
      std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/tavn-say-XXXXXX" + suffix;
  // Block the signals while the file exists but is not yet registered.
  sigset_t block, old;
  sigemptyset(&block);
  for (int sig : kSignals) sigaddset(&block, sig);
  sigprocmask(SIG_BLOCK, &block, &old);
  const int fd = mkstemps(&name[0], static_cast<int>(std::strlen(suffix)));
  bool ok = fd >= 0;
  if (ok) {
    close(fd);
    ok = add(name) && add(name + ".tmp");
    if (!ok) unlink(name.c_str());
  }
  sigprocmask(SIG_SETMASK, &old, nullptr);
  return ok ? name : "";
}

void remove_temp_files() {
  unlink_all();
  for (int i = 0; i < kSlots; ++i) g_used[i] = 0;
}

}  // namespace tavn::say
