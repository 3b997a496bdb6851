// Log records: format and style bits, level and subject filters, scrambling,
// character sets, console echo, truncation, failures and the size limit.
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <regex>
#include <stdexcept>

#include "log_core_test_util.h"

namespace {

const std::string kFull = R"(\[\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3}\])";
const std::string kShort = R"(\[\d\d:\d\d:\d\d \d{3}\])";
const std::string kPid = R"(\[Px[0-9a-f]{4,}\])";
const std::string kTid = R"(\[Tx[0-9a-f]{4,}\])";

// Opens a logger (no head, style "none" unless `setup` changes it) on a
// fresh file, runs `act` and returns what reached the file.
std::string run(const std::function<void(Test_Cfg&)>& setup, const std::function<void(Test_Logger&)>& act) {
  Temp_Dir dir;
  Test_Cfg cfg = make_cfg(dir.file("run.log"), 256);
  cfg.has_head_ = false;
  if (setup) setup(cfg);
  Test_Logger log;
  EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
  act(log);
  log.close();
  return read_file(cfg.file_name_);
}

TEST(LogRecord, StyleBitsNarrowAndWide) {
  struct Case {
    int style;
    const char *subject, *msg;
    std::string narrow, wide;  // patterns; the wide form always has the blank
  } cases[] = {
      {126, nullptr, "x=5", kFull + R"(\[INF\])" + kPid + kTid + " x=5\n", ""},
      {1, nullptr, "m", kShort + " m", ""},
      {3, nullptr, "m", kFull + " m", ""},
      {8 | 64, nullptr, "m", kPid + kTid + " m", ""},
      {16, nullptr, "m\r", "m\r", " m\r"},
      {16, nullptr, "", "\n", " \n"},
      {32, "net", "m", R"(\[net     \] m)", ""},
      {4 | 32, "subject-too-long", "m", R"(\[INF\]\[subject-\] m)", ""},
      {32, nullptr, "m", "m", " m"},
      {256, "net", "m", "m", " m"},
  };
  for (const Case& c : cases) {
    const std::wstring wide_msg(c.msg, c.msg + strlen(c.msg));
    std::string wide_pattern = c.wide.empty() ? c.narrow : c.wide;
    const std::string narrow = run(nullptr, [&](Test_Logger& l) { l.log_msg_i(c.subject, LOG_LVL_INFO, c.style, c.msg); });
    const std::string wide = run(nullptr, [&](Test_Logger& l) { l.log_msg_i(c.subject, LOG_LVL_INFO, c.style, wide_msg.c_str()); });
    EXPECT_TRUE(std::regex_match(narrow, std::regex(c.narrow))) << c.style << ": " << narrow;
    EXPECT_TRUE(std::regex_match(wide, std::regex(wide_pattern))) << c.style << ": " << wide;
  }
}

TEST(LogRecord, LevelsFilterFileAndConsoleApart) {
  struct Case {
    int level, console_level;
    const char *file, *console;
  } cases[] = {
      {7, 7, "E W ", "E W "}, {15, 2, "E W I ", "E "}, {0x98, 0, "I V T ", ""}, {0, -1, "", ""}, {-1, 0x80, "E W I V T ", "T "},
  };
  for (const Case& c : cases) {
    Stdout_Capture out;
    const std::string text = run(
        [&](Test_Cfg& cfg) { cfg.level_ = c.level, cfg.console_level_ = c.console_level, cfg.output_ = 3; },
        [](Test_Logger& l) { l.log_error("E "), l.log_warn("W "), l.log_info("I "), l.log_verbose("V "), l.log_trace("T "); });
    EXPECT_EQ(c.file, text) << c.level;
    EXPECT_EQ(c.console, out.text()) << c.level;
  }
}

TEST(LogRecord, IncludeAndExcludeFilterNarrowRecordsOnly) {
  struct Case {
    std::vector<std::string> include, exclude;
    const char *subject, *msg;
    bool kept;
  } cases[] = {
      {{}, {"secret"}, nullptr, "a secret here", false}, {{}, {"net"}, "net", "plain", false},
      {{}, {"net"}, "network", "plain", true},           {{"net"}, {}, "net", "plain", true},
      {{"net"}, {}, nullptr, "the net is up", true},     {{"net"}, {}, "disk", "plain", false},
      {{"net"}, {"up"}, "net", "net up", false},
  };
  for (const Case& c : cases) {
    const std::string text = run(
        [&](Test_Cfg& cfg) { cfg.include = c.include, cfg.exclude = c.exclude; },
        [&](Test_Logger& l) { l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, c.msg), l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, L"|wide"); });
    EXPECT_EQ(std::string(c.kept ? c.msg : "") + " |wide", text) << c.msg;
  }
}

TEST(LogRecord, LevelNamesAndSubjects) {
  const std::pair<int, const char*> names[] = {{0, "CRT"},   {1, "CRT"},   {3, "WAN"},   {5, "INF"},
                                                {8, "INF"},   {128, "TRC"}, {129, "UNK"}, {-1, "UNK"},
                                                {0x40000000, "UNK"}};
  Test_Logger log;
  for (const auto& [level, name] : names) EXPECT_STREQ(name, log.level_str(level)) << level;
  log.cfg_.filter_ = 0x5;
  const std::pair<int, int> passes[] = {{0, 1}, {1, 0}, {2, 1}, {31, 0}, {32, 1}, {-1, 1}};
  for (const auto& [n, pass] : passes) EXPECT_EQ(pass, log.sub_output(n)) << n;
  char buf[16] = "unchanged";
  EXPECT_STREQ("unchanged", log.subject(0x1f, buf, 8));
  EXPECT_STREQ("      1f", log.subject(0x1f, buf, sizeof buf));
}

TEST(LogRecord, Scrambling) {
  Test_Logger log;
  for (const auto& [key, len, first] : {std::tuple{0x1A5u, 2, 'a' ^ 0xA5}, {0u, 2, 'a'}, {0x1A5u, 0, 'a'}}) {
    unsigned char data[2] = {'a', 'b'};
    log.cfg_.encrypt_key = key;
    EXPECT_EQ(len, log.encrypt(data, len));
    EXPECT_EQ(first, data[0]);
  }
  // A scrambled record ends in its zero byte, unscrambled; raw writes
  // scramble a copy; separators stay plain; the console shows the
  // scrambled bytes.
  auto scramble = [](std::string t) {
    for (char& ch : t) ch = static_cast<char>(ch ^ 0xA5);
    return t;
  };
  const std::string big(20000, 'q');
  auto out = std::make_unique<Stdout_Capture>();
  const std::string text = run(
      [](Test_Cfg& cfg) { cfg.encrypt_key = 0x1A5, cfg.style_ = 16, cfg.output_ = 3; },
      [&](Test_Logger& l) { l.log_error("secret"), l.write(big.data(), 20000), l.write_bound('-'); });
  const std::string echo = out->text();
  out.reset();
  EXPECT_TRUE(scramble("secret\n") + '\0' + scramble(big) + std::string(80, '-') + "\n" == text);
  EXPECT_EQ(scramble("secret\n"), echo);
  EXPECT_EQ('q', big[0]);
}

TEST(LogRecord, CharacterSetsFileAndConsole) {
  const std::string saved = setlocale(LC_ALL, nullptr);
  struct Case {
    unsigned charset;
    bool wide_call;
    std::string msg, file, console;
  } cases[] = {
      {0, false, "caf\xc3\xa9", "caf\xc3\xa9", "caf\xc3\xa9"},
      {2, false, "caf\xc3\xa9", "caf\xc3\xa9", "c"},  // a wide line read as narrow shows its first character
      {2, false, std::string(20479, 'x'), "", ""},     // too long for a wide file: dropped
      {2, false, std::string(20478, 'x'), std::string(20478, 'x'), "x"},
      {0, true, "caf\xc3\xa9", " caf\xc3\xa9", " "},
      {1, true, "caf\xc3\xa9", " caf\xc3\xa9", " caf\xc3\xa9"},
      {2, true, "caf\xc3\xa9", " caf\xc3\xa9", " "},
  };
  for (const Case& c : cases) {
    Stdout_Capture out;
    const std::string text = run(
        [&](Test_Cfg& cfg) { cfg.charset_ = c.charset, cfg.locale_ = "C.UTF-8", cfg.output_ = 3; },
        [&](Test_Logger& l) {
          wchar_t wide[64];
          mbstowcs(wide, c.msg.c_str(), 64);
          c.wide_call ? l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, wide) : l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, c.msg.c_str());
          l.write_bound('=');
        });
    EXPECT_TRUE(c.file + std::string(80, '=') + "\n" == text) << c.charset << c.wide_call << " " << c.msg.size();
    EXPECT_TRUE(c.console == out.text()) << c.charset << c.wide_call << " " << c.msg.size();
  }
  setlocale(LC_ALL, saved.c_str());
}

TEST(LogRecord, OverlongMessagesAreCutKeepingTheLineBreak) {
  const std::string huge(100000, 'a');
  const std::wstring wide_huge(100000, L'a');
  struct Case {
    int style;
    bool wide;
    size_t size;
    char last;
  } cases[] = {{16, false, 40959, '\n'}, {256, false, 40959, 'a'}, {4 | 16, false, 40959, '\n'},
               {16, true, 66559, '\n'},  {256, true, 66559, 'a'}};
  for (const Case& c : cases) {
    const std::string text = run(nullptr, [&](Test_Logger& l) {
      c.wide ? l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, wide_huge.c_str())
             : l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, huge.c_str());
    });
    EXPECT_EQ(c.size, text.size()) << c.style;
    EXPECT_EQ(c.last, text.back()) << c.style;
  }
  const std::string text = run(nullptr, [&](Test_Logger& l) { l.log_error("%s%s", huge.c_str(), "tail"); });
  EXPECT_TRUE(huge.substr(0, 40959) == text);  // the level calls cut the message itself
}

// An output object whose text writes throw.
struct Throwing_IO : Test_IO {
  using Test_IO::write;
  int write(const char*) override { throw std::runtime_error("disk gone"); }
  int write(const wchar_t*) override { throw std::runtime_error("disk gone"); }
};

TEST(LogRecord, FileExceptionsAreCaughtAndTheConsoleStillEchoes) {
  Temp_Dir dir;
  Test_Cfg cfg = make_cfg(dir.file("run.log"), 256);
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
  int back_file() override { return ++rotations, 0; }
};

TEST(LogRecord, SizeLimitCallsBackFileBeforeTheRecord) {
  for (const auto& [max_size, rotations] : {std::pair{14u, 0}, {13u, 1}, {12u, 2}, {0xFFFFFFFFu, 0}}) {
    Temp_Dir dir;
    write_file(dir.file("run.log"), "123456789\n");
    Test_Cfg cfg = make_cfg(dir.file("run.log"), 256);
    cfg.has_head_ = false;
    cfg.max_size_ = max_size;
    Counting_Logger log;
    ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
    log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "abc");  // 10 + 3 bytes
    log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"");    // 13 + 1 character (the blank)
    EXPECT_EQ(rotations, log.rotations) << max_size;
  }
}

}  // namespace
