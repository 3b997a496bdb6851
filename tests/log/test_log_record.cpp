// Log records: format, style bits, level and subject filters, scrambling,
// character sets, console echo, separators, truncation and failures.
#include <gtest/gtest.h>

#include <pthread.h>
#include <unistd.h>

#include <clocale>
#include <functional>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>

#include "log_core_test_util.h"

namespace {

const std::string kFull = R"(\[\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3}\])";
const std::string kShort = R"(\[\d\d:\d\d:\d\d \d{3}\])";
const std::string kPid = R"(\[Px[0-9a-f]{4,}\])";
const std::string kTid = R"(\[Tx[0-9a-f]{4,}\])";

using Setup = std::function<void(Test_Cfg&)>;
using Action = std::function<void(Test_Logger&)>;

// Opens a logger without head and tail on a fresh file, runs `act` and
// returns what reached the file.
std::string run(const Setup& setup, const Action& act) {
  Temp_Dir dir;
  Test_Cfg cfg = make_cfg(dir.file("run.log"));
  cfg.has_head_ = false;
  if (setup) setup(cfg);
  Test_Logger log;
  EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
  act(log);
  log.close();
  return read_file(cfg.file_name_);
}

TEST(LogRecord, InfoRecordInLongStyle) {
  const std::string text = run([](Test_Cfg& c) { c.level_ = 15; c.style_ = 126; },
                               [](Test_Logger& l) { l.log_info("x=%d", 5); });
  EXPECT_TRUE(std::regex_match(text, std::regex(kFull + R"(\[INF\])" + kPid + kTid + " x=5\n"))) << text;
}

TEST(LogRecord, EachStyleBit) {
  struct Case {
    int style;
    const char* subject;
    const char* msg;
    std::string pattern;
  } cases[] = {
      {1, nullptr, "m", kShort + " m"},
      {2, nullptr, "m", kFull + " m"},
      {3, nullptr, "m", kFull + " m"},
      {4, nullptr, "m", R"(\[ERR\] m)"},
      {8, nullptr, "m", kTid + " m"},
      {16, nullptr, "m", "m\n"},
      {16, nullptr, "m\n", "m\n"},
      {16, nullptr, "m\r", "m\r"},
      {16, nullptr, "", "\n"},
      {32, "net", "m", R"(\[net     \] m)"},
      {32, "subject-too-long", "m", R"(\[subject-\] m)"},
      {32, nullptr, "m", "m"},
      {64, nullptr, "m", kPid + " m"},
      {256, "net", "m", "m"},
      {4 | 32 | 64, "s", "m", R"(\[ERR\])" + kPid + R"(\[s       \] m)"},
  };
  for (const Case& c : cases) {
    const std::string text =
        run(nullptr, [&](Test_Logger& l) { l.log_msg_i(c.subject, LOG_LVL_ERROR, c.style, c.msg); });
    EXPECT_TRUE(std::regex_match(text, std::regex(c.pattern))) << c.style << ": " << text;
  }
}

TEST(LogRecord, ThreadAndProcessIds) {
  char expected[64];
  snprintf(expected, sizeof expected, "[Px%04x][Tx%04x] m", static_cast<unsigned>(getpid()),
           static_cast<unsigned>(pthread_self()));
  EXPECT_EQ(expected, run(nullptr, [](Test_Logger& l) { l.log_msg_i(nullptr, LOG_LVL_ERROR, 72, "m"); }));
}

TEST(LogRecord, LevelsFilterFileAndConsoleApart) {
  struct Case {
    int level;
    int console_level;
    const char* file;
    const char* console;
  } cases[] = {
      {7, 7, "E W ", "E W "},
      {15, 2, "E W I ", "E "},
      {0x98, 0, "I V T ", ""},
      {0, -1, "", ""},
      {-1, 0x80, "E W I V T ", "T "},
  };
  for (const Case& c : cases) {
    Stdout_Capture out;
    const std::string text = run(
        [&](Test_Cfg& cfg) {
          cfg.level_ = c.level;
          cfg.console_level_ = c.console_level;
          cfg.output_ = 3;
          cfg.style_ = 256;
        },
        [](Test_Logger& l) {
          l.log_error("E ");
          l.log_warn("W ");
          l.log_info("I ");
          l.log_verbose("V ");
          l.log_trace("T ");
        });
    EXPECT_EQ(c.file, text) << c.level;
    EXPECT_EQ(c.console, out.text()) << c.level;
  }
  // Logging switched off: nothing anywhere.
  Stdout_Capture out;
  EXPECT_EQ("", run([](Test_Cfg& cfg) { cfg.output_ = 0; },
                    [](Test_Logger& l) { l.log_msg_i("s", LOG_LVL_ERROR, 256, "m"); }));
  EXPECT_EQ("", out.text());
}

TEST(LogRecord, IncludeAndExcludeFilterNarrowRecordsOnly) {
  struct Case {
    std::vector<std::string> include, exclude;
    const char* subject;
    const char* msg;
    bool kept;
  } cases[] = {
      {{}, {}, nullptr, "anything", true},
      {{}, {"secret"}, nullptr, "a secret here", false},
      {{}, {"net"}, "net", "plain", false},
      {{}, {"net"}, "network", "plain", true},
      {{"net"}, {}, "net", "plain", true},
      {{"net"}, {}, nullptr, "the net is up", true},
      {{"net"}, {}, "disk", "plain", false},
      {{"net"}, {"up"}, "net", "net up", false},
  };
  for (const Case& c : cases) {
    const std::string text = run(
        [&](Test_Cfg& cfg) {
          cfg.include = c.include;
          cfg.exclude = c.exclude;
          cfg.style_ = 256;
        },
        [&](Test_Logger& l) {
          l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, c.msg);
          l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, L"|wide");
        });
    EXPECT_EQ(std::string(c.kept ? c.msg : "") + " |wide", text) << c.msg;
  }
}

TEST(LogRecord, LevelNames) {
  struct Case {
    int level;
    const char* name;
  } cases[] = {{0, "CRT"},  {1, "CRT"},   {2, "ERR"},   {3, "WAN"},   {4, "WAN"},         {5, "INF"},
               {8, "INF"},  {16, "VBS"},  {32, "DBG"},  {64, "PRF"},  {128, "TRC"},       {129, "UNK"},
               {200, "UNK"}, {-1, "UNK"}, {0x40000000, "UNK"}, {static_cast<int>(0x80000000u), "UNK"}};
  Test_Logger log;
  for (const Case& c : cases) EXPECT_STREQ(c.name, log.level_str(c.level)) << c.level;
}

TEST(LogRecord, SubjectHelpers) {
  Test_Logger log;
  log.cfg_.filter_ = 0x5;
  struct Case {
    int n;
    int passes;
  } cases[] = {{0, 1}, {1, 0}, {2, 1}, {31, 0}, {32, 1}, {1000, 1}, {-1, 1}};
  for (const Case& c : cases) EXPECT_EQ(c.passes, log.sub_output(c.n)) << c.n;
  EXPECT_EQ(1, log.sub_output("anything"));
  char buf[16] = "unchanged";
  EXPECT_STREQ("      1f", log.subject(0x1f, buf, sizeof buf));
  EXPECT_STREQ("      1f", log.subject(7, buf, 8));  // too small: left alone
  EXPECT_EQ(nullptr, log.subject(7, nullptr, 16));
}

TEST(LogRecord, Scrambling) {
  Test_Logger log;
  struct Case {
    uint32_t key;
    int len;
    unsigned char first;
  } cases[] = {{0x1A5, 2, 'a' ^ 0xA5}, {0, 2, 'a'}, {0x1A5, 0, 'a'}, {0x100, 2, 'a'}};
  for (const Case& c : cases) {
    log.cfg_.encrypt_key = c.key;
    unsigned char data[2] = {'a', 'b'};
    EXPECT_EQ(c.len, log.encrypt(data, c.len));
    EXPECT_EQ(c.first, data[0]);
    log.encrypt(data, c.len);
    EXPECT_EQ('a', data[0]);  // applying it twice restores the data
  }

  // A scrambled record carries its terminating zero, unscrambled; raw writes
  // scramble a copy; separators are never scrambled.
  const std::string big(20000, 'q');
  auto out = std::make_unique<Stdout_Capture>();
  const std::string text = run(
      [](Test_Cfg& cfg) {
        cfg.encrypt_key = 0x1A5;
        cfg.style_ = 16;
        cfg.output_ = 3;
      },
      [&](Test_Logger& l) {
        l.log_error("secret");
        const char raw[] = "raw";
        EXPECT_EQ(3, l.write(raw, 3));
        EXPECT_STREQ("raw", raw);
        EXPECT_EQ(20000, l.write(big.data(), 20000));
        l.write_bound('-');
      });
  const std::string echo = out->text();
  out.reset();
  auto scramble = [](std::string t) {
    for (char& ch : t) ch = static_cast<char>(ch ^ 0xA5);
    return t;
  };
  const std::string expected = scramble("secret\n") + std::string(1, '\0') + scramble("raw" + big) +
                               std::string(80, '-') + "\n";
  EXPECT_TRUE(expected == text) << text.size();
  const std::string echoed = scramble("secret\n");
  EXPECT_EQ(echoed, echo);  // the console shows the scrambled bytes
}

TEST(LogRecord, CharacterSets) {
  const std::string saved = setlocale(LC_ALL, nullptr);
  struct Case {
    unsigned charset;
    bool wide_call;
    std::string msg;
    std::string file;
  } cases[] = {
      {0, false, "caf\xc3\xa9", "caf\xc3\xa9"},
      {2, false, "caf\xc3\xa9", "caf\xc3\xa9"},
      {2, false, std::string(20479, 'x'), ""},  // too long for a wide file: dropped
      {2, false, std::string(20478, 'x'), std::string(20478, 'x')},
      {0, true, "caf\xc3\xa9", " caf\xc3\xa9"},
      {1, true, "caf\xc3\xa9", " caf\xc3\xa9"},
      {2, true, "caf\xc3\xa9", " caf\xc3\xa9"},
  };
  for (const Case& c : cases) {
    const std::string text = run(
        [&](Test_Cfg& cfg) {
          cfg.charset_ = c.charset;
          cfg.style_ = 256;
          cfg.locale_ = "C.UTF-8";
        },
        [&](Test_Logger& l) {
          if (c.wide_call) {
            wchar_t wide[64];
            mbstowcs(wide, c.msg.c_str(), 64);
            l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, wide);
          } else {
            l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, c.msg.c_str());
          }
        });
    EXPECT_TRUE(c.file == text) << c.charset << " " << c.wide_call << " " << c.msg.size();
  }
  setlocale(LC_ALL, saved.c_str());
}

TEST(LogRecord, ConsoleEcho) {
  struct Case {
    unsigned charset;
    bool wide_call;
    const char* console;
  } cases[] = {
      {0, false, "[ERR] hello\n"},
      {1, false, "[ERR] hello\n"},
      {2, false, "["},  // a wide line read as narrow bytes shows its first character
      {0, true, "["},
      {1, true, "[ERR] hello\n"},
  };
  for (const Case& c : cases) {
    Stdout_Capture out;
    const std::string text = run(
        [&](Test_Cfg& cfg) {
          cfg.charset_ = c.charset;
          cfg.style_ = 20;
          cfg.output_ = 3;
        },
        [&](Test_Logger& l) {
          if (c.wide_call)
            l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"hello");
          else
            l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "hello");
        });
    EXPECT_EQ(c.console, out.text()) << c.charset << c.wide_call;
    EXPECT_EQ("[ERR] hello\n", text);
  }
}

TEST(LogRecord, WideRecordParts) {
  const std::string text = run(nullptr, [](Test_Logger& l) {
    l.log_msg_i("subject9", LOG_LVL_INFO, 4 | 16 | 32, L"m");
    l.log_msg_i(nullptr, LOG_LVL_INFO, 2, L"n");
  });
  EXPECT_TRUE(std::regex_match(text, std::regex(R"(\[INF\]\[subject9\] m\n)" + kFull + " n"))) << text;
}

TEST(LogRecord, SeparatorLine) {
  for (unsigned charset : {0u, 2u}) {
    const std::string text =
        run([&](Test_Cfg& cfg) { cfg.charset_ = charset; },
            [](Test_Logger& l) { EXPECT_EQ(0, l.write_bound('=')); });
    EXPECT_EQ(std::string(80, '=') + "\n", text);
  }
  Test_Logger unopened;
  Test_IO closed;
  unopened.io_ = &closed;
  unopened.own_io_ = false;
  EXPECT_EQ(0, unopened.write_bound('='));
}

TEST(LogRecord, OverlongMessagesAreCut) {
  const std::string huge(100000, 'a');
  struct Case {
    int style;
    bool wide;
    size_t size;
    char last;
  } cases[] = {
      {16, false, 40959, '\n'},
      {256, false, 40959, 'a'},
      {4 | 16, false, 40959, '\n'},
      {16, true, 66559, '\n'},
      {256, true, 66559, 'a'},
  };
  for (const Case& c : cases) {
    const std::string text = run(nullptr, [&](Test_Logger& l) {
      if (c.wide) {
        const std::wstring w(huge.begin(), huge.end());
        l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, w.c_str());
      } else {
        l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, huge.c_str());
      }
    });
    EXPECT_EQ(c.size, text.size()) << c.style;
    EXPECT_EQ(c.last, text.back()) << c.style;
  }
  // The level calls cut the message itself at 40959 bytes.
  const std::string text =
      run([](Test_Cfg& cfg) { cfg.style_ = 256; }, [&](Test_Logger& l) { l.log_error("%s%s", huge.c_str(), "tail"); });
  EXPECT_EQ(huge.substr(0, 40959), text);
}

// An output object whose writes fail with an exception.
struct Throwing_IO : Test_IO {
  using Test_IO::write;
  int write(const char*) override { throw std::runtime_error("disk gone"); }
  int write(const wchar_t*) override { throw std::runtime_error("disk gone"); }
};

TEST(LogRecord, FileExceptionsAreCaughtAndReported) {
  Temp_Dir dir;
  Test_Cfg cfg = make_cfg(dir.file("run.log"), -1, 256);
  cfg.has_head_ = false;
  cfg.output_ = 3;
  Log_Impl_T<Throwing_IO, Log_Win32_Process_Mutex, Test_Cfg> log;
  ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
  Stdout_Capture out;
  log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "one");
  log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"two");
  EXPECT_EQ(
      "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\none"
      "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n ",
      out.text());
}

// Counts rotations instead of doing them.
struct Counting_Logger : Test_Logger {
  int rotations = 0;
  int back_file() override {
    ++rotations;
    return 0;
  }
};

TEST(LogRecord, SizeLimitTriggersRotationBeforeTheRecord) {
  struct Case {
    uint32_t max_size;
    int rotations;
  } cases[] = {{14, 0}, {13, 1}, {12, 2}, {0xFFFFFFFFu, 0}, {0, 2}};
  for (const Case& c : cases) {
    Temp_Dir dir;
    const std::string path = dir.file("run.log");
    write_file(path, "123456789\n");  // 10 bytes
    Test_Cfg cfg = make_cfg(path, -1, 256);
    cfg.has_head_ = false;
    cfg.max_size_ = c.max_size;
    Counting_Logger log;
    ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
    log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "abc");  // 10 + 3 bytes
    log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"");    // 13 + 1 characters
    EXPECT_EQ(c.rotations, log.rotations) << c.max_size;
  }
}

}  // namespace
