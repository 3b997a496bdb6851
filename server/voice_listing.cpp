#include "server/voice_listing.h"

#include <espeak-ng/speak_lib.h>
#include <fcntl.h>
#include <flite/flite_version.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <vector>

#include "engines/speech/backends/backend.h"

extern char** environ;

namespace tavn::server {
namespace {

constexpr size_t kMaxListing = 1 << 20;
constexpr int kWaitMs = 60'000;

}  // namespace

int print_voices() {
  using speech::Backend;
  if (const uint32_t r = Backend::InitializeAll()) {
    std::fprintf(stderr, "tavnd: the speech engine did not start (result 0x%08X)\n", r);
    return 1;
  }
  std::vector<speech::VoiceInfo> voices;
  const uint32_t r = Backend::ListAllVoices(&voices);
  Backend::TerminateAll();
  if (r != 0) {
    std::fprintf(stderr, "tavnd: the voices could not be listed (result 0x%08X)\n", r);
    return 1;
  }
  for (const auto& v : voices) {
    std::printf("%s\t%s\t%u\n", v.name.c_str(), v.language.c_str(),
                static_cast<unsigned>(v.sample_rate));
  }
  return std::fflush(stdout) == 0 ? 0 : 1;
}

bool list_voices_of(const std::string& program, std::string* listing, std::string* why) {
  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) {
    *why = "cannot list the voices: no pipe";
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], 1);
  const char* argv[] = {program.c_str(), "--list-voices", nullptr};
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr,
                                  const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  if (spawned != 0) {
    ::close(out[0]);
    *why = "cannot start " + program + " --list-voices";
    return false;
  }
  listing->clear();
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWaitMs);
  bool late = false, big = false;
  char buffer[8192];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd p{out[0], POLLIN, 0};
    if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) == 0) {
      late = true;
      break;
    }
    const ssize_t n = ::read(out[0], buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    if (listing->size() + static_cast<size_t>(n) > kMaxListing) {
      big = true;
      break;
    }
    listing->append(buffer, static_cast<size_t>(n));
  }
  ::close(out[0]);
  if (late || big) ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (late || big || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    *why = program + " --list-voices " +
           (late  ? "took longer than 60 s"
            : big ? "printed over 1 MiB"
                  : "failed (see its message above)");
    return false;
  }
  return true;
}

std::string engine_version() {
  return std::string("tavnd ") + TAVN_VERSION + ", libespeak-ng " + espeak_Info(nullptr) +
         ", flite " + FLITE_PROJECT_VERSION;
}

}  // namespace tavn::server
