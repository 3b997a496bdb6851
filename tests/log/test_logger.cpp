// The logger core: open and close with their blocks, a caller's output
// object and lock, and records: prefix parts, filters, scrambling, character
// sets, console echo, cutting and the size limit.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <clocale>
#include <functional>
#include <regex>
#include <stdexcept>

#include "log/log_impl-inl.h"  // a logger on an output type of its own
#include "log/log_mutex.h"
#include "log/log_os.h"
#include "log/log_text_output.h"
#include "log_test_util.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

const std::string kRule = "=============================================================\n";
const std::string kFull = R"(\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3})";
const std::string kShort = R"(\[\d\d:\d\d:\d\d \d{3}\])";

// A block pattern: `lines` between the rules, then the process id line.
std::string block(const std::string& lines, const char* after_pid) {
  char pid[64];
  snprintf(pid, sizeof pid, "\tPID: %d \\(0x%04x\\)%s\n", getpid(), static_cast<unsigned>(getpid()), after_pid);
  return kRule + lines + pid + kRule;
}
std::string head(const std::string& word) {
  return block("\tKavri log file\n\tSubject :    Unit Log\n\t" + word + "-Time :    " + kFull +
                   "\n\tApplication:   \n\tModule:        \n",
               " Version: ");
}
std::string tail(const std::string& word) { return block("\tUnit Log " + word + "-Time: " + kFull + "\n", ""); }

TEST(LogOpen, HeadAndTailBlocksFrameARun) {
  // An earlier run is appended to, and the head still says "Created".
  Opened_Logger<> o([](Test_Cfg& cfg) { write_file(cfg.file_name_, "earlier run"); });
  Test_Logger& log = o.log;
  EXPECT_TRUE(log.io_->config() == &log.cfg_ && log.io_->mutex() == log.mutex_);
  log.write_tail(false);  // what a rotation writes
  log.write_head(false);
  EXPECT_EQ(0, log.close());
  EXPECT_TRUE(log.io_ == nullptr && log.mutex_ == nullptr);
  EXPECT_TRUE(std::regex_match(
      o.text(), std::regex("earlier run\n" + head("Created") + tail("Continue") + head("Continued") + tail("End"))))
      << o.text();
}

TEST(LogOpen, CallersOutputObjectIsNeitherOpenedNorClosed) {
  Temp_Dir dir;
  Test_IO io;
  Log_Thread_Mutex lock;
  ASSERT_EQ(0, lock.open(nullptr));
  ASSERT_EQ(0, io.open(dir.file("own.log").c_str(), &lock, 0, nullptr));
  Test_Cfg io_cfg = make_cfg(dir.file("unused.log")), cfg = make_cfg(dir.file("unused.log"));
  io_cfg.level_ = 15, cfg.level_ = 7;
  io.config(&io_cfg);
  Test_Logger log;
  log.cfg_.encrypt_key = 0x55;  // settings taken from an output object never scramble
  ASSERT_EQ(0, log.open(nullptr, &io, nullptr));
  EXPECT_TRUE(log.io_ == &io && !log.own_io_ && log.mutex_ == &lock && !log.own_mutex_);
  EXPECT_EQ(std::make_pair(15, 0u), std::make_pair(log.cfg_.level_, log.cfg_.encrypt_key));
  log.log_msg_i(nullptr, LOG_LVL_INFO, 256, "record");
  log.close();
  EXPECT_TRUE(log.io_ == &io && io.handle() != nullptr);
  io.flush();
  EXPECT_EQ("record", read_file(dir.file("own.log")));  // no head, no tail
  EXPECT_FALSE(std::filesystem::exists(dir.file("unused.log")));
  ASSERT_EQ(0, log.open(&cfg, &io, nullptr));  // an explicit record wins
  EXPECT_EQ(7, log.cfg_.level_);
  EXPECT_EQ(0, lock.acquire(-1));  // still the caller's, still open
  lock.release();
}

// The file's directories are made first; a file that cannot be opened is
// reported; console-only logging opens no file.
TEST(LogOpen, DirectoriesOpenErrorsAndConsoleOnly) {
  const mode_t old_mask = umask(0);  // the modes below are exactly those asked for
  Opened_Logger<> o(nullptr, "logs//sub\\app.log");
  umask(old_mask);
  for (const char* sub : {"logs", "logs/sub"}) {
    SCOPED_TRACE(sub);
    struct stat st;
    ASSERT_EQ(0, stat(o.dir.file(sub).c_str(), &st)) << sub;
    EXPECT_EQ(S_IFDIR | 0755u, st.st_mode & (S_IFMT | 0777u)) << sub;
  }
  EXPECT_TRUE(std::filesystem::exists(o.dir.file("logs/sub\\app.log")));  // the file keeps the name as given
  KAVRI_LOG::make_log_dir(std::string(1000, '/').c_str());                // nothing to create, nothing overrun
  o.dir.write("plain", "");
  o.cfg.file_name_ = o.dir.file("plain/run.log");
  EXPECT_EQ(ENOTDIR, o.log.open(&o.cfg, nullptr, nullptr));
  ASSERT_NE(nullptr, o.log.io_);  // kept, closed
  EXPECT_EQ(0, o.log.write_bound('='));
  o.log.log_error("goes nowhere");
  o.cfg.file_name_ = o.dir.file("console.log");
  o.cfg.output_ = 2;
  EXPECT_EQ(0, o.log.open(&o.cfg, nullptr, nullptr));
  EXPECT_TRUE(o.log.mutex_ != nullptr && o.log.io_ == nullptr && o.log.write("abc", 3) == -1);
  o.log.close();
  EXPECT_FALSE(std::filesystem::exists(o.cfg.file_name_));
}

// Opens a logger with style "none" (so no head or tail) unless `setup`
// changes it, runs `act` on it and returns what reached the file.
template <class Logger = Test_Logger, class Act>
std::string run(const std::function<void(Test_Cfg&)>& setup, Act act) {
  Opened_Logger<Logger> o([&](Test_Cfg& cfg) {
    cfg.style_ = 256;
    if (setup) setup(cfg);
  });
  act(o.log);
  o.log.close();
  return o.text();
}

TEST(LogRecord, StyleBitsNarrowAndWide) {
  char ids[64];
  snprintf(ids, sizeof ids, R"(\[Px%04x\]\[Tx%04x\])", static_cast<unsigned>(getpid()),
           static_cast<unsigned>(pthread_self()));
  // Patterns; an empty `wide` is as `narrow` (the wide form always has the blank).
  const struct {
    int style;
    const char *subject, *msg;
    std::string narrow, wide;
  } cases[] = {
      {126, nullptr, "x=5", R"(\[)" + kFull + R"(\]\[INF\])" + ids + " x=5\n", ""},
      {1, nullptr, "m", kShort + " m", ""},
      {3, nullptr, "m", R"(\[)" + kFull + R"(\] m)", ""},
      {8 | 64, nullptr, "m", ids + std::string(" m"), ""},
      {16, nullptr, "m\r", "m\r", " m\r"},
      {16, nullptr, "", "\n", " \n"},
      {32, "net", "m", R"(\[net     \] m)", ""},
      {4 | 32, "subject-too-long", "m", R"(\[INF\]\[subject-\] m)", ""},
      {32, nullptr, "m", "m", " m"},
      {256, "net", "m", "m", " m"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.style);
    const std::wstring wide_msg(c.msg, c.msg + strlen(c.msg));
    const std::string narrow = run(nullptr, [&](auto& l) { l.log_msg_i(c.subject, LOG_LVL_INFO, c.style, c.msg); });
    const std::string wide =
        run(nullptr, [&](auto& l) { l.log_msg_i(c.subject, LOG_LVL_INFO, c.style, wide_msg.c_str()); });
    EXPECT_TRUE(std::regex_match(narrow, std::regex(c.narrow))) << c.style << ": " << narrow;
    EXPECT_TRUE(std::regex_match(wide, std::regex(c.wide.empty() ? c.narrow : c.wide))) << c.style << ": " << wide;
  }
}

TEST(LogRecord, ForkedChildShowsItsOwnProcessId) {
  const pid_t child = fork();
  if (child == 0) _exit(KAVRI_LOG::process_id() == getpid() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(LogRecord, LevelsFilterFileAndConsoleApart) {
  const struct {
    int level, console_level;
    const char *file, *console;
  } cases[] = {
      {7, 7, "E W ", "E W "}, {15, 2, "E W I ", "E "},        {0x98, 0, "I V T ", ""},
      {0, -1, "", ""},        {-1, 0x80, "E W I V T ", "T "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "level " << c.level << ", console " << c.console_level);
    CaptureStdout();
    const std::string text = run(
        [&](Test_Cfg& cfg) { cfg.level_ = c.level, cfg.console_level_ = c.console_level, cfg.output_ = 3; },
        [](auto& l) { l.log_error("E "), l.log_warn("W "), l.log_info("I "), l.log_verbose("V "), l.log_trace("T "); });
    EXPECT_EQ(c.console, GetCapturedStdout()) << c.level;
    EXPECT_EQ(c.file, text) << c.level;
  }
}

TEST(LogRecord, IncludeAndExcludeFilterNarrowRecordsOnly) {
  const struct {
    std::vector<std::string> include, exclude;
    const char *subject, *msg;
    bool kept;
  } cases[] = {
      {{}, {"secret"}, nullptr, "a secret here", false}, {{}, {"net"}, "net", "plain", false},
      {{}, {"net"}, "network", "plain", true},           {{"net"}, {}, "net", "plain", true},
      {{"net"}, {}, nullptr, "the net is up", true},     {{"net"}, {}, "disk", "plain", false},
      {{"net"}, {"up"}, "net", "net up", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.msg);
    const std::string text = run([&](Test_Cfg& cfg) { cfg.include = c.include, cfg.exclude = c.exclude; },
                                 [&](auto& l) {
                                   l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, c.msg),
                                       l.log_msg_i(c.subject, LOG_LVL_ERROR, 0, L"|wide");
                                 });
    EXPECT_EQ(std::string(c.kept ? c.msg : "") + " |wide", text) << c.msg;
  }
}

TEST(LogRecord, LevelNamesAndSubjectBits) {
  const std::pair<int, const char*> names[] = {{0, "CRT"},   {1, "CRT"},   {3, "WAN"},  {5, "INF"},         {8, "INF"},
                                               {128, "TRC"}, {129, "UNK"}, {-1, "UNK"}, {0x40000000, "UNK"}};
  Test_Logger log;
  for (const auto& [level, name] : names) {
    SCOPED_TRACE(level);
    EXPECT_STREQ(name, log.level_str(level)) << level;
  }
  log.cfg_.filter_ = 0x5;
  for (const auto& [n, pass] : {std::pair{0, 1}, {1, 0}, {2, 1}, {31, 0}, {32, 1}, {-1, 1}}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(pass, log.sub_output(n)) << n;
  }
}

// A scrambled record ends in its zero byte, unscrambled; raw writes scramble
// a copy; separators stay plain; the console shows the scrambled bytes.  (No
// head either: has_head is off.)
TEST(LogRecord, Scrambling) {
  Test_Logger log;
  for (const auto& [key, len, first] : {std::tuple{0x1A5u, 2, 'a' ^ 0xA5}, {0u, 2, 'a'}, {0x1A5u, 0, 'a'}}) {
    SCOPED_TRACE(testing::Message() << "key " << key << ", len " << len);
    unsigned char data[2] = {'a', 'b'};
    log.cfg_.encrypt_key = key;
    EXPECT_EQ(len, log.encrypt(data, len));
    EXPECT_EQ(first, data[0]);
  }
  auto scramble = [](std::string t) {
    return (void)std::for_each(t.begin(), t.end(), [](char& ch) { ch ^= '\xA5'; }), t;
  };
  const std::string big(20000, 'q');
  CaptureStdout();
  const std::string text =
      run([](Test_Cfg& cfg) { cfg.encrypt_key = 0x1A5, cfg.style_ = 16, cfg.has_head_ = false, cfg.output_ = 3; },
          [&](auto& l) { l.log_error("secret"), l.write(big.data(), 20000), l.write_bound('-'); });
  EXPECT_EQ(scramble("secret\n"), GetCapturedStdout());
  EXPECT_TRUE(scramble("secret\n") + '\0' + scramble(big) + std::string(80, '-') + "\n" == text);
  EXPECT_EQ('q', big[0]);
}

TEST(LogRecord, CharacterSetsFileAndConsole) {
  const std::string saved = setlocale(LC_ALL, nullptr);
  const std::string cafe = "caf\xc3\xa9";
  // `wide`: the message of a wide call; null for a narrow call of `msg`.
  const struct {
    unsigned charset;
    const wchar_t* wide;
    std::string msg, file, console;
  } cases[] = {
      {0, nullptr, cafe, cafe, cafe},
      {2, nullptr, cafe, cafe, "c"},                  // a wide line read as narrow shows its first character
      {2, nullptr, std::string(20479, 'x'), "", ""},  // too long for a wide file: dropped
      {2, nullptr, std::string(20478, 'x'), std::string(20478, 'x'), "x"},
      {0, L"caf\u00e9", "", " " + cafe, " "},
      {1, L"caf\u00e9", "", " " + cafe, " " + cafe},
      {2, L"caf\u00e9", "", " " + cafe, " "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "row " << &c - cases);
    CaptureStdout();
    const std::string text =
        run([&](Test_Cfg& cfg) { cfg.charset_ = c.charset, cfg.locale_ = "C.UTF-8", cfg.output_ = 3; },
            [&](auto& l) {
              c.wide ? l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, c.wide)
                     : l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, c.msg.c_str());
              l.write_bound('=');
            });
    EXPECT_TRUE(c.console == GetCapturedStdout()) << &c - cases;
    EXPECT_TRUE(c.file + std::string(80, '=') + "\n" == text) << &c - cases;
  }
  // Text the locale cannot convert falls back to byte-wise widening and narrowing.
  wchar_t out[KAVRI_LOG::kWideTextChars];
  EXPECT_STREQ(L"a\xffffffff", KAVRI_LOG::widen_text("a\xff", out));  // sign-extended bytes
  wchar_t part[4];
  EXPECT_STREQ(L"a\xffffffff", KAVRI_LOG::widen_part("a\xff", part, 4));
  EXPECT_STREQ(L"abc", KAVRI_LOG::widen_part("abcdef", part, 4));  // cut to fit
  EXPECT_STREQ(L"\u00e9", KAVRI_LOG::widen_part("\xc3\xa9", part, 4));
  const wchar_t unencodable[] = {L'a', static_cast<wchar_t>(0xD841), 0};
  EXPECT_STREQ("aA", KAVRI_LOG::Narrow_Text(unencodable).c_str());  // low 8 bits
  const std::wstring long_text(70000, L'\u00e9');                   // 140000 bytes: past the fixed buffer
  EXPECT_EQ(140000u, strlen(KAVRI_LOG::Narrow_Text(long_text.c_str()).c_str()));
  setlocale(LC_ALL, saved.c_str());
}

TEST(LogRecord, OverlongMessagesAreCutKeepingTheLineBreak) {
  const std::string huge(100000, 'a');
  const std::wstring wide_huge(100000, L'a');
  const struct {
    int style;
    bool wide;
    size_t size;
    char last;
  } cases[] = {{16, false, 40959, '\n'},
               {256, false, 40959, 'a'},
               {4 | 16, false, 40959, '\n'},
               {16, true, 66559, '\n'},
               {256, true, 66559, 'a'}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "style " << c.style << (c.wide ? " wide" : " narrow"));
    const std::string text = run(nullptr, [&](auto& l) {
      c.wide ? l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, wide_huge.c_str())
             : l.log_msg_i(nullptr, LOG_LVL_ERROR, c.style, huge.c_str());
    });
    EXPECT_EQ(c.size, text.size()) << c.style;
    EXPECT_EQ(c.last, text.back()) << c.style;
  }
  const std::string text = run(nullptr, [&](auto& l) { l.log_error("%s%s", huge.c_str(), "tail"); });
  EXPECT_TRUE(huge.substr(0, 40959) == text);  // the level calls cut the message itself
}

// An output object whose text writes throw.
struct Throwing_IO : Test_IO {
  using Test_IO::write;
  int write(const char*) override { throw std::runtime_error("disk gone"); }
  int write(const wchar_t*) override { throw std::runtime_error("disk gone"); }
};

TEST(LogRecord, FileExceptionsAreCaughtAndTheConsoleStillEchoes) {
  CaptureStdout();
  run<Log_Impl_T<Throwing_IO, Log_Win32_Process_Mutex, Test_Cfg>>(
      [](Test_Cfg& cfg) { cfg.output_ = 3; },
      [](auto& l) { l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "one"), l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"two"); });
  EXPECT_EQ(
      "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.\none"
      "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.\n ",
      GetCapturedStdout());
}

// Counts rotations instead of doing them.
struct Counting_Logger : Test_Logger {
  int rotations = 0;
  int back_file() override { return ++rotations, 0; }
};

TEST(LogRecord, SizeLimitCallsBackFileBeforeTheRecord) {
  // {max_size, rotations expected}
  for (const auto& c : {std::pair{14u, 0}, {13u, 1}, {12u, 2}, {0xFFFFFFFFu, 0}}) {
    SCOPED_TRACE(testing::Message() << "max_size " << c.first);
    run<Counting_Logger>([&](Test_Cfg& cfg) { cfg.max_size_ = c.first; },
                         [&](auto& l) {
                           l.write("123456789\n", 10);
                           l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "abc");  // 10 + 3 bytes
                           l.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"");    // 13 + 1 character (the blank)
                           EXPECT_EQ(c.second, l.rotations) << c.first;
                         });
  }
}

}  // namespace
