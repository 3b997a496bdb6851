// Start-up and shutdown seen from child processes: a failed engine start is
// kept for good, and the exit hook always stops the engine.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/tavn.hpp"
#include "test_util.h"

namespace {

// Runs `requests` requests in a child process with the given engine start
// result; the child checks the engine saw one start and exits normally.
// Returns the child's exit status and what the engine's shutdown marked.
std::pair<int, std::string> run_child(const char* init_result, int requests) {
  TempDir dir;
  std::string mark = dir.file("mark");
  pid_t pid = fork();
  if (pid == 0) {
    setenv("SCRIPTED_ENGINE_UNINIT_MARK", mark.c_str(), 1);
    if (init_result) setenv("SCRIPTED_ENGINE_INIT_RESULT", init_result, 1);
    std::string out = dir.file("c.wav");
    for (int i = 0; i < requests; ++i)
      if (Talvern_Impl("x", false, out.c_str(), nullptr, nullptr, nullptr, nullptr) != 0) exit(2);
    exit(scripted::record().initialize == (requests ? 1 : 0) ? 0 : 3);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  std::ifstream in(mark);
  std::string marked((std::istreambuf_iterator<char>(in)), {});
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, marked};
}

TEST(ModuleExit, EngineStoppedAtExitWhateverItsStart) {
  struct Case { const char* init_result; int requests; const char* marked; } cases[] = {
      {nullptr, 2, "uninitialize\n"},
      {"0x80001000", 3, "uninitialize\n"},  // failed start: never retried, still stopped
      {nullptr, 0, ""},                     // never started: nothing to stop
  };
  for (const Case& c : cases) {
    auto [status, marked] = run_child(c.init_result, c.requests);
    EXPECT_EQ(status, 0) << (c.init_result ? c.init_result : "ok");
    EXPECT_EQ(marked, c.marked);
  }
}

}  // namespace
