// Log_Impl_T::open and close: settings merge, lock, directory, head and
// tail blocks, and the ownership of output objects and locks.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <regex>
#include <string>

#include "log/log_thread_mutex.h"
#include "log_core_test_util.h"

namespace {

const char kRule[] = "=============================================================\n";
const char kStamp[] = R"(\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3})";

std::string head_pattern(const std::string& title, const std::string& word) {
  const int pid = getpid();
  char ids[64];
  snprintf(ids, sizeof ids, "%d \\(0x%04x\\)", pid, static_cast<unsigned>(pid));
  return std::string(kRule) + "\tKavri log file\n\tSubject :    " + title + "\n\t" + word +
         "-Time :    " + kStamp + "\n\tApplication:   \n\tModule:        \n\tPID: " + ids +
         " Version: \n" + kRule;
}

std::string tail_pattern(const std::string& title, const std::string& word) {
  const int pid = getpid();
  char ids[64];
  snprintf(ids, sizeof ids, "%d \\(0x%04x\\)", pid, static_cast<unsigned>(pid));
  return std::string(kRule) + "\t" + title + " " + word + "-Time: " + kStamp + "\n\tPID: " + ids + "\n" +
         kRule;
}

TEST(LogOpen, HeadAndTailBlocksFrameARun) {
  Temp_Dir dir;
  const std::string path = dir.file("run.log");
  write_file(path, "earlier run");  // appended to, and still "Created"
  Test_Cfg cfg = make_cfg(path);
  Test_Logger log;
  ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
  EXPECT_TRUE(log.own_io_);
  EXPECT_TRUE(log.own_mutex_);
  EXPECT_EQ(&log.cfg_, log.io_->config());
  EXPECT_EQ(log.mutex_, log.io_->mutex());
  log.write_tail(false);  // what a rotation writes
  log.write_head(false);
  EXPECT_EQ(0, log.close());
  EXPECT_EQ(nullptr, log.io_);
  EXPECT_EQ(nullptr, log.mutex_);
  const std::string expected = "earlier run\n" + head_pattern("Unit Log", "Created") +
                               tail_pattern("Unit Log", "Continue") + head_pattern("Unit Log", "Continued") +
                               tail_pattern("Unit Log", "End");
  EXPECT_TRUE(std::regex_match(read_file(path), std::regex(expected))) << read_file(path);
}

TEST(LogOpen, NoBlocksWithStyleNoneOrWithoutHead) {
  struct Case {
    int style;
    bool has_head;
  } cases[] = {{256, true}, {255, false}};
  for (const Case& c : cases) {
    Temp_Dir dir;
    Test_Cfg cfg = make_cfg(dir.file("run.log"), -1, c.style);
    cfg.has_head_ = c.has_head;
    Test_Logger log;
    ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
    log.close();
    EXPECT_EQ("", read_file(cfg.file_name_));
  }
}

TEST(LogOpen, ConsoleOnlyOpensNoFile) {
  Temp_Dir dir;
  Test_Cfg cfg = make_cfg(dir.file("run.log"));
  cfg.output_ = 2;
  Test_Logger log;
  ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
  EXPECT_NE(nullptr, log.mutex_);
  EXPECT_EQ(nullptr, log.io_);
  EXPECT_EQ(-1, log.write("abc", 3));
  log.close();
  EXPECT_FALSE(exists(cfg.file_name_));
}

TEST(LogOpen, CallersOutputObjectIsNeitherOpenedNorClosed) {
  Temp_Dir dir;
  const std::string path = dir.file("own.log");
  Test_IO io;
  Log_Thread_Mutex lock;
  ASSERT_EQ(0, lock.open(nullptr));
  ASSERT_EQ(0, io.open(path.c_str(), &lock, 0, nullptr));
  Test_Cfg io_cfg = make_cfg(dir.file("unused.log"), 15);
  io.config(&io_cfg);

  Test_Logger log;
  log.cfg_.encrypt_key = 0x55;  // settings from an output object never scramble
  ASSERT_EQ(0, log.open(nullptr, &io, nullptr));
  EXPECT_EQ(&io, log.io_);
  EXPECT_FALSE(log.own_io_);
  EXPECT_EQ(&lock, log.mutex_);
  EXPECT_FALSE(log.own_mutex_);
  EXPECT_EQ(15, log.cfg_.level_);
  EXPECT_EQ(0u, log.cfg_.encrypt_key);
  EXPECT_EQ("", read_file(path));  // no head
  log.log_msg_i(nullptr, LOG_LVL_INFO, 256, "record");
  log.close();
  EXPECT_EQ(&io, log.io_);
  EXPECT_NE(nullptr, io.handle());
  io.flush();
  EXPECT_EQ("record", read_file(path));
  EXPECT_FALSE(exists(dir.file("unused.log")));

  // An explicit record wins over the output object's settings.
  Test_Cfg cfg = make_cfg(dir.file("unused.log"), 7);
  ASSERT_EQ(0, log.open(&cfg, &io, nullptr));
  EXPECT_EQ(7, log.cfg_.level_);
  EXPECT_EQ(0, lock.acquire(-1));  // still the caller's, still usable
  lock.release();
}

TEST(LogOpen, CreatesTheFilesDirectories) {
  Temp_Dir dir;
  const mode_t old_mask = umask(022);
  Test_Cfg cfg = make_cfg(dir.path() + "/logs//sub\\app.log");
  Test_Logger log;
  EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
  log.close();
  umask(old_mask);
  for (const char* sub : {"/logs", "/logs/sub"}) {
    struct stat st;
    ASSERT_EQ(0, stat((dir.path() + sub).c_str(), &st)) << sub;
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(0755u, st.st_mode & 0777u);
  }
  // The file itself is opened under its name as given.
  EXPECT_TRUE(exists(dir.path() + "/logs/sub\\app.log"));
}

TEST(LogOpen, FileOpenFailureIsReturned) {
  Temp_Dir dir;
  write_file(dir.file("plain"), "");
  Test_Cfg cfg = make_cfg(dir.file("plain/run.log"));
  Test_Logger log;
  EXPECT_EQ(ENOTDIR, log.open(&cfg, nullptr, nullptr));
  ASSERT_NE(nullptr, log.io_);  // kept, closed
  EXPECT_EQ(nullptr, log.io_->handle());
  EXPECT_EQ(0, log.write_bound('='));
  log.log_error("goes nowhere");
  EXPECT_EQ(0, log.close());
}

// A lock that remembers the name it was opened with and can refuse it.
struct Named_Lock final : Log_Mutex {
  static std::string last_name;
  static int open_result;
  int open(const char* name) override {
    last_name = name;
    return open_result;
  }
  int close(bool) override { return 0; }
  int acquire(int) override { return 0; }
  int release() override { return 0; }
  const char* name() override { return nullptr; }
};
std::string Named_Lock::last_name;
int Named_Lock::open_result = 0;

TEST(LogOpen, LockIsNamedAfterTheTitle) {
  using Logger = Log_Impl_T<Test_IO, Named_Lock, Test_Cfg>;
  struct Case {
    const char* title;
    int result;
    const char* name;
    const char* printed;
  } cases[] = {
      {"Talvern Logging", 0, "Kavri_Logger_Mutex_Talvern_Logging", ""},
      {" a  b ", 0, "Kavri_Logger_Mutex__a__b_", ""},
      {"X", 5, "Kavri_Logger_Mutex_X",
       "Log_Impl_T::open open lock name Kavri_Logger_Mutex_X failed, error = 5.\n"},
  };
  for (const Case& c : cases) {
    Test_Cfg cfg;
    cfg.output_ = 2;
    cfg.title_ = c.title;
    Named_Lock::open_result = c.result;
    Logger log;
    Stdout_Capture out;
    EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
    EXPECT_EQ(c.printed, out.text());
    EXPECT_EQ(c.name, Named_Lock::last_name);
    EXPECT_NE(nullptr, log.mutex_);  // kept even when it failed to open
  }
}

TEST(LogOpen, LocaleWords) {
  const std::string saved = setlocale(LC_ALL, nullptr);
  setlocale(LC_ALL, "C");
  struct Case {
    const char* word;
    const char* after;
  } cases[] = {{"skip", "C"}, {"null", "C"}, {"", "C"}, {".ACP", "C"}, {"C.UTF-8", "C.UTF-8"}};
  for (const Case& c : cases) {
    Test_Cfg cfg;
    cfg.output_ = 2;
    cfg.locale_ = c.word;
    Test_Logger log;
    log.open(&cfg, nullptr, nullptr);
    EXPECT_STREQ(c.after, setlocale(LC_ALL, nullptr)) << c.word;
    setlocale(LC_ALL, "C");
  }
  setlocale(LC_ALL, saved.c_str());
}

}  // namespace
