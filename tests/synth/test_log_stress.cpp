// Many threads making requests with every level logged: no crash, no torn
// or lost record, also while the log rotates.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "engines/scripted/scripted_engine.h"
#include "synth/tavn.h"
#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRequests = 150;

// Runs kThreads x kRequests TalvernSynth (or TalvernSynthW) calls in a
// child process, so the log is complete (tail block included) when it is
// read; returns the child's exit status: 0 when every request returned 0.
int requests_in_threads(bool wide) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&failures, t, wide] {
      for (int i = 0; i < kRequests; ++i) {
        std::string text = "request-" + std::to_string(t) + "-" + std::to_string(i);
        std::string out = "out-" + std::to_string(t) + ".wav";
        uint32_t r = 0;
        if (wide)
          r = TalvernSynthW(std::wstring(text.begin(), text.end()).c_str(), false,
                            std::wstring(out.begin(), out.end()).c_str(), L"", L"", L"");
        else r = TalvernSynth(text.c_str(), false, out.c_str(), nullptr, nullptr, nullptr);
        if (r != 0) ++failures;
      }
    });
  for (std::thread& th : threads) th.join();
  return failures.load();
}

int run_requests(bool wide = false) {
  pid_t pid = fork();
  if (pid == 0) exit(requests_in_threads(wide) == 0 ? 0 : 1);
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Every line of `text` is one whole record or a line of a head or tail
// block; returns the first that is not, or "".
std::string first_torn_line(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line))
    if (!whole_log_line(line)) return line;
  if (!text.empty() && text.back() != '\n') return "(no final line break)";
  return "";
}

class LogStress : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(chdir(dir_.path().c_str()), 0);
    scripted::reset();
  }
  std::vector<std::string> logs() const {
    std::vector<std::string> out;
    if (DIR* d = opendir(".")) {
      while (dirent* e = readdir(d))
        if (std::strstr(e->d_name, ".log")) out.push_back(e->d_name);
      closedir(d);
    }
    return out;
  }
  Temp_Dir dir_;
};

// Narrow and wide entries alike (the wide one converts under a process-wide
// locale switch on every thread).
TEST_F(LogStress, EveryRecordOnceAndWhole) {
  for (bool wide : {false, true}) {
    SCOPED_TRACE(wide);
    write_file("tavn.cfg", "[logger]\nlevel = all\nmaxsize = 100000000\n");
    ASSERT_EQ(run_requests(wide), 0);
    std::string log = read_file("tavn.log");
    EXPECT_EQ(first_torn_line(log), "");
    EXPECT_EQ(count(log, wide ? "TalvernSynthW | leave." : "TalvernSynth | leave."),
              static_cast<size_t>(kThreads * kRequests));
    const std::string conn = wide ? ",,,)" : ",(null),(null),(null))";
    for (int t = 0; t < kThreads; ++t)
      for (int i = 0; i < kRequests; ++i) {
        std::string rec = "TalvernSynth(request-" + std::to_string(t) + "-" + std::to_string(i) + ",text,out-" +
                          std::to_string(t) + ".wav" + conn + " complete successfully!\n";
        size_t first = log.find(rec);
        ASSERT_NE(first, std::string::npos) << rec;
        ASSERT_EQ(log.find(rec, first + 1), std::string::npos) << rec;
      }
    std::remove("tavn.log");
  }
}

TEST_F(LogStress, RotationUnderLoad) {
  write_file("tavn.cfg", "[logger]\nlevel = all\nmaxsize = 40960\nmaxcount = 5\n");
  ASSERT_EQ(run_requests(), 0);
  std::vector<std::string> files = logs();
  EXPECT_GE(files.size(), 2u);  // it did rotate
  for (const std::string& f : files) {
    std::string text = read_file(f);
    EXPECT_EQ(first_torn_line(text), "") << f;
    // At most one record and the tail block past the limit.
    EXPECT_LE(text.size(), 40960u + 512u + 400u) << f;
  }
}

}  // namespace
