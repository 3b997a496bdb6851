// The process exits while other threads keep making requests with every
// level logged: no crash, no hang and no sanitizer report, run after run.
// The exit hook closes the log while records are in flight; records that
// come after it are skipped.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "synth/tavn.h"
#include "tests/support/test_support.h"

namespace {

constexpr int kRuns = 50;
constexpr int kThreads = 4;

// The child: requests on kThreads threads (narrow and wide), then exit()
// from main after `delay_us`.  The threads are never joined.
[[noreturn]] void exit_while_requests_run(int delay_us) {
  const int err = open("stderr.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
  dup2(err, 2);
  alarm(30);  // a hang ends the child with SIGALRM
  if (TalvernSynth("start", false, "start.wav", nullptr, nullptr, nullptr) != 0) _exit(2);
  for (int t = 0; t < kThreads; ++t)
    std::thread([t] {
      const std::string out = "t" + std::to_string(t) + ".wav";
      const std::wstring wout(out.begin(), out.end());
      for (;;) {
        if (t % 2) TalvernSynthW(L"Wide request.", false, wout.c_str(), L"", L"", L"");
        else TalvernSynth("Narrow request.", false, out.c_str(), "c1", nullptr, nullptr);
      }
    }).detach();
  usleep(static_cast<useconds_t>(delay_us));
  exit(0);
}

TEST(Exit, WhileRequestsRunOnOtherThreads) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  write_file("tavn.cfg", "[logger]\nlevel = all\nmaxsize = 40960\n");
  for (int run = 0; run < kRuns; ++run) {
    pid_t pid = fork();
    if (pid == 0) exit_while_requests_run(1000 + (run % 10) * 2000);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status)) << "run " << run << ": signal " << WTERMSIG(status);
    ASSERT_EQ(WEXITSTATUS(status), 0) << "run " << run << "\n" << read_file("stderr.txt");
    ASSERT_EQ(read_file("stderr.txt"), "") << "run " << run;
  }
  // The last run's log ends with its tail block: nothing was written after it.
  const std::string log = read_file("tavn.log");
  const size_t tail = log.rfind("\tTalvern Logging End-Time: ");
  ASSERT_NE(tail, std::string::npos);
  EXPECT_EQ(log.find('[', tail), std::string::npos);
}

}  // namespace
