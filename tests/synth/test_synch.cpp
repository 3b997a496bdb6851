// The synch text: write_synch, and the head, sentence records and tail that
// a request with a synch record produces.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "tests/support/test_support.h"

using tavn::synth::ERR_OUTPUT_TOO_SHORT;
using tavn::synth::ERR_SYNCH_BUFFER;

namespace {

using scripted::make_piece;
using scripted::Piece;

std::string head(const std::string& url, const std::string& path) {
  return "{\nMediaUrl:\"" + url + "\",\nAbsolutePath:\"" + path + "\",\nSentenses : [";
}
std::string first(const std::string& text) {
  return "{\n    Time:\"0.000000s\",\n    SentenseText :\"" + text + "\"\n}";
}
std::string next(const std::string& time, const std::string& text) {
  return ",\n{\n    Time:\"" + time + "s\",\n    SentenseText :\"" + text + "\"\n}";
}
const std::string kTail = "]\n}";

// A sentence piece: a 44-byte header plus `sound` bytes, the header counted
// as non-audio.
Piece sentence(uint32_t sound, uint32_t begin, uint32_t end, uint32_t status = 1) {
  return make_piece(status, 44, sound, 0x11, begin, end, 44);
}

TEST(WriteSynch, CapacityRules) {
  struct Case {
    int used, capacity;
    const char* text;
    int want, used_after;
    const char* content;
  } cases[] = {
      {0, 5, "abcde", 0, 5, "abcde"},                         // equal to capacity: accepted
      {0, 4, "abcde", -1, 5, ""},                             // one over: emptied
      {2, 5, "cde", 0, 5, "xxcde"},   {6, 5, "", -1, 6, ""},  // an earlier failure makes every append fail
      {-3, 10, "ab", -1, -1, ""},                             // a negative position is never written
      {0, -1, "", -1, 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.used << "/" << c.capacity);
    char buf[16] = "xxxxxxxxxx";
    char* p = buf;
    extra_param_f rec{0, "", "", &p, c.used, c.capacity};
    EXPECT_EQ(write_synch(&rec, c.text), c.want) << c.used << "/" << c.capacity;
    EXPECT_EQ(rec.used, c.used_after);
    EXPECT_STREQ(buf, c.content);
  }
  extra_param_f no_buffer{0, "", "", nullptr, 0, 100};
  EXPECT_EQ(write_synch(&no_buffer, "x"), -1);
}

class Synch : public ::testing::Test {
 protected:
  void SetUp() override {
    scripted::reset();
    scripted::set_format(true, 4);  // 16 kHz, 16 bits: 32000 bytes a second
  }
  // Runs a request for `text` with the given fetched pieces (after a
  // header-only first piece) and a synch buffer of `capacity`.
  uint32_t run(const char* text, std::vector<Piece> fetched, int capacity = 4000, const char* url = "http://m/a") {
    fetched.insert(fetched.begin(), make_piece(1, 44, 0, 0, 0, 0, 44));
    scripted::set_script(std::move(fetched));
    buf_.assign(static_cast<size_t>(capacity) + 1, '#');
    char* p = &buf_[0];
    return TavnSynthSyn(text, false, out().c_str(), nullptr, nullptr, nullptr, url, &p, capacity);
  }
  std::string text() const { return std::string(buf_.c_str()); }
  std::string out() const { return dir_.file("s.wav"); }
  Temp_Dir dir_;
  std::string buf_;
};

TEST_F(Synch, TimesAndRecords) {
  const char* t = "Hello. World. Again.";
  struct Case {
    const char* name;
    std::vector<Piece> pieces;
    std::string body;
  } cases[] = {
      {"two sentences, the first spread over two pieces",
       {sentence(32000, 0, 6), sentence(32000, 0, 6), sentence(32000, 7, 13, 0)},
       first("Hello.") + next("2.000000", "World.")},
      {"begins A, B, A give three records",
       {sentence(16000, 0, 6), sentence(16000, 7, 13), sentence(16000, 0, 6, 0)},
       first("Hello.") + next("0.500000", "World.") + first("Hello.")},
      {"the first fetched sentence not at 0 takes the comma form",
       {sentence(8000, 7, 13), sentence(8000, 14, 20, 0)},
       next("0.000000", "World.") + next("0.250000", "Again.")},
      {"an end before the begin gives an empty text",
       {sentence(100, 0, 6), sentence(100, 14, 7, 0)},
       first("Hello.") + next("0.003125", "")},
      {"offsets past the text are cut to it",
       {sentence(100, 0, 6), sentence(100, 14, 900, 0)},
       first("Hello.") + next("0.003125", "Again.")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(run(t, c.pieces), 0u) << c.name;
    EXPECT_EQ(text(), head("http://m/a", out()) + c.body + kTail) << c.name;
  }
}

TEST_F(Synch, FormatWithoutBitRatePrintsInfinityOrNan) {
  for (uint32_t fmt : {0u, 23u, 200u}) {
    SCOPED_TRACE(fmt);
    scripted::set_format(true, fmt);
    ASSERT_EQ(run("One. Two. Six.", {sentence(320, 5, 9), sentence(320, 10, 14, 0)}), 0u);
    std::string s = text();
    // bits 0 over rate 0 is not a number; later bits over 0 are infinite
    // ("%6f" pads both to six characters).
    EXPECT_TRUE(std::regex_search(s, std::regex("Time:\" *-?nans\",\n    SentenseText :\"Two.\""))) << s;
    EXPECT_NE(s.find("Time:\"   infs\",\n    SentenseText :\"Six.\""), std::string::npos) << s;
  }
}

TEST_F(Synch, NoFormatFromTheEngineMeansFormatZero) {
  scripted::set_format(false);
  ASSERT_EQ(run("One. Two.", {sentence(320, 0, 4), sentence(320, 5, 9, 0)}), 0u);
  EXPECT_NE(text().find("Time:\"   infs\""), std::string::npos);
}

TEST_F(Synch, CapacityTooSmallEmptiesTheText) {
  const std::vector<Piece> script = {sentence(320, 0, 2), sentence(10, 3, 5, 0)};
  ASSERT_EQ(run("A. B.", script, 4000, "u"), 0u);  // under 200 bytes is fine with synch
  const int full = static_cast<int>(text().size());
  const int head_length = static_cast<int>(head("u", out()).size());
  // One less than the head: refused before the engine synthesises anything.
  // Equal to the head: taken (the terminator goes one past); the first
  // record then overflows.  One less than the whole text: the tail fails.
  struct Case {
    int capacity;
    int synth_calls;
  } cases[] = {{head_length - 1, 0}, {head_length, 1}, {full - 1, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.capacity);
    scripted::reset();
    scripted::set_format(true, 4);
    EXPECT_EQ(run("A. B.", script, c.capacity, "u"), ERR_SYNCH_BUFFER) << c.capacity;
    EXPECT_EQ(text(), "");
    EXPECT_EQ(scripted::record().synth_text, c.synth_calls);
    EXPECT_EQ(scripted::record().open_handles, 0);
  }
}

// Runs `work` in a child process and returns its exit status (a signal
// shows as 128 + its number).
template <class F>
int in_child(F work) {
  pid_t pid = fork();
  if (pid == 0) _exit(work());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// A synch failure closes the output stream at once: no descriptor is kept
// per failure, and nothing reaches the file later, when another request
// has written it anew (the stale stream used to be flushed over it at exit).
TEST_F(Synch, FailureKeepsNoStreamOpen) {
  const std::vector<Piece> script = {sentence(320, 0, 2), sentence(10, 3, 5, 0)};
  ASSERT_EQ(run("A. B.", script, 4000, "u"), 0u);
  const int full = static_cast<int>(text().size());
  const int head_length = static_cast<int>(head("u", out()).size());
  // 400 failures (head, record and tail in turn) under a limit of 128
  // descriptors, then a request that succeeds.
  EXPECT_EQ(in_child([&] {
              const struct rlimit limit = {128, 128};
              if (setrlimit(RLIMIT_NOFILE, &limit) != 0) return 2;
              const int capacities[] = {head_length - 1, head_length, full - 1};
              for (int i = 0; i < 400; ++i)
                if (run("A. B.", script, capacities[i % 3], "u") != ERR_SYNCH_BUFFER) return 3;
              return run("A. B.", script, 4000, "u") == 0 ? 0 : 4;
            }),
            0);
  // A failure after the sound was written, then a good request for the
  // same file, and the process ends: the good file is what stays.
  ASSERT_EQ(in_child([&] {
              if (run("A. B.", script, full - 1, "u") != ERR_SYNCH_BUFFER) return 3;
              // Unpatched, every byte written so far there (the last piece comes after
              // the tail).
              std::vector<uint8_t> failed = read_bytes(out());
              if (failed.size() != 44 + 320 || le32(failed, 40) != 0) return 4;
              scripted::set_script({make_piece(1, 44, 0), sentence(5000, 0, 2, 0)});
              char buf[4000];
              char* p = buf;
              return TavnSynthSyn("A.", false, out().c_str(), nullptr, nullptr, nullptr, "u", &p, 3999) == 0 ? 0 : 5;
            }),
            0);
  std::vector<uint8_t> f = read_bytes(out());
  ASSERT_EQ(f.size(), 44u + 5000u);
  EXPECT_EQ(le32(f, 4), f.size() - 8);
  EXPECT_EQ(le32(f, 40), 5000u);
}

TEST_F(Synch, LongMediaUrlGivesTheWholeHead) {
  std::string url(600, 'u');
  ASSERT_EQ(run("A.", {sentence(320, 0, 2, 0)}, 4000, url.c_str()), 0u);
  EXPECT_EQ(text(), head(url, out()) + first("A.") + kTail);
}

TEST_F(Synch, OtherModesBehaveAsNoRecord) {
  scripted::set_script({make_piece(1, 44, 0), sentence(10, 0, 2, 0)});
  char buf[64] = "untouched";
  char* p = buf;
  extra_param_f rec{1, "u", "p", &p, 0, 63};
  EXPECT_EQ(Talvern_Impl("A.", false, out().c_str(), nullptr, nullptr, nullptr, &rec), ERR_OUTPUT_TOO_SHORT);
  EXPECT_STREQ(buf, "untouched");
  EXPECT_EQ(rec.used, 0);
}

TEST_F(Synch, EngineFailureLeavesTheTextWithoutTail) {
  scripted::fail(scripted::Op::FetchNext, 0x80002222u, 2);
  EXPECT_EQ(run("A. B.", {sentence(320, 0, 2), sentence(320, 3, 5, 0)}), 0x80002222u);
  EXPECT_EQ(text(), head("http://m/a", out()) + first("A."));
}

}  // namespace
