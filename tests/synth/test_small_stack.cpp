// Whole requests on a thread with a 64 KiB stack, under logger settings
// that need the largest buffers: every character set, console echo, every
// level, flush, rotation.  Each case is its own process (the logger's
// settings are read once per process); the log is then read back.  The
// output itself is checked byte for byte by the other tests.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.h"
#include "tests/support/test_support.h"

namespace {

constexpr size_t kStack = 64 * 1024;

// The requests, the first of the process (so the logger's start-up and
// head block run on the small stack too).  0 when every result is right.
void* requests(void*) {
  const std::string long_text(70000, 'x');  // warned about and cut
  char synch[4096];
  char* p = synch;
  const bool ok = TalvernSynth("Narrow.", false, "n.wav", "c1", "c2", "p") == 0 &&
                  TalvernSynthW(L"Wide.", false, L"w.wav", L"", L"", L"") == 0 &&
                  TavnSynthSyn("Synch.", false, "s.wav", nullptr, nullptr, nullptr, "u", &p, 4095) == 0 &&
                  TalvernSynth(long_text.c_str(), false, "l.wav", nullptr, nullptr, nullptr) == 0 &&
                  TalvernSynth("missing.txt", true, "f.wav", nullptr, nullptr, nullptr) == TAVN_ERR_OPEN_FILE;
  bool more = ok;
  for (int i = 0; more && i < 150; ++i)  // over 40 KB of records: a small limit rotates
    more = TalvernSynth("Again.", false, "a.wav", nullptr, nullptr, nullptr) == 0;
  return more ? nullptr : reinterpret_cast<void*>(1);
}

// Runs requests() on a kStack thread in a child working in `dir` with
// `cfg` as its configuration; the console goes to "console.txt".
int child_status(const Temp_Dir& dir, const std::string& cfg) {
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir.path().c_str()) != 0) _exit(2);
    write_file("tavn.cfg", cfg);
    const int out = open("console.txt", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(out, 1);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, kStack);
    pthread_t thread;
    void* result = reinterpret_cast<void*>(1);
    if (pthread_create(&thread, &attr, requests, nullptr) != 0 || pthread_join(thread, &result) != 0) _exit(3);
    exit(result == nullptr ? 0 : 4);  // exit(): the tail block is written
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(SmallStack, WholeRequestsUnderEveryLoggerSetting) {
  const struct Case {
    const char* cfg;
    bool file;     // records go to tavn.log (else to the console only)
    bool rotates;  // the log is backed up on the way
  } cases[] = {
      {"charset = 0\noutput = 3\nflush = 1\n", true, false},
      {"charset = 1\noutput = 3\nstyle = long\n", true, false},
      {"charset = 2\noutput = 3\nflush = 1\n", true, false},
      {"charset = 2\nmaxsize = 40960\n", true, true},
      {"charset = 0\noutput = 2\nstyle = none\n", false, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cfg);
    Temp_Dir dir;
    ASSERT_EQ(child_status(dir, std::string("[logger]\nlevel = all\n") + c.cfg), 0) << c.cfg;
    const std::string log = read_file(dir.file(c.file ? "tavn.log" : "console.txt"));
    EXPECT_GE(count(log, "complete successfully!"), 3u) << c.cfg;
    EXPECT_EQ(count(log, "Cannot open text file missing.txt for read."), c.rotates ? 0u : 1u) << c.cfg;
  }
}

}  // namespace
