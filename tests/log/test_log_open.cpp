// Log_Impl_T::open and close: settings, lock, directory, head and tail
// blocks, and who owns the output object and the lock.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <regex>

#include "log/log_thread_mutex.h"
#include "log_core_test_util.h"

namespace {

const std::string kRule = "=============================================================\n";
const std::string kStamp = R"(\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3})";

std::string pid_text() {
  char ids[64];
  snprintf(ids, sizeof ids, "PID: %d \\(0x%04x\\)", getpid(), static_cast<unsigned>(getpid()));
  return ids;
}

std::string head(const std::string& word) {
  return kRule + "\tKavri log file\n\tSubject :    Unit Log\n\t" + word + "-Time :    " + kStamp +
         "\n\tApplication:   \n\tModule:        \n\t" + pid_text() + " Version: \n" + kRule;
}

std::string tail(const std::string& word) {
  return kRule + "\tUnit Log " + word + "-Time: " + kStamp + "\n\t" + pid_text() + "\n" + kRule;
}

TEST(LogOpen, HeadAndTailBlocksFrameARun) {
  Temp_Dir dir;
  const std::string path = dir.file("run.log");
  write_file(path, "earlier run");  // appended to, and still "Created"
  Test_Cfg cfg = make_cfg(path);
  Test_Logger log;
  ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
  EXPECT_TRUE(log.own_io_ && log.own_mutex_);
  EXPECT_EQ(&log.cfg_, log.io_->config());
  EXPECT_EQ(log.mutex_, log.io_->mutex());
  log.write_tail(false);  // what a rotation writes
  log.write_head(false);
  EXPECT_EQ(0, log.close());
  EXPECT_EQ(nullptr, log.io_);
  EXPECT_EQ(nullptr, log.mutex_);
  const std::string text = read_file(path);
  EXPECT_TRUE(std::regex_match(
      text, std::regex("earlier run\n" + head("Created") + tail("Continue") + head("Continued") + tail("End"))))
      << text;

  for (const bool style_none : {true, false}) {  // no blocks with style "none" or without head
    cfg = make_cfg(dir.file(style_none ? "none.log" : "nohead.log"), style_none ? 256 : 255);
    cfg.has_head_ = style_none;
    ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
    log.close();
    EXPECT_EQ("", read_file(cfg.file_name_));
  }
}

TEST(LogOpen, CallersOutputObjectIsNeitherOpenedNorClosed) {
  Temp_Dir dir;
  const std::string path = dir.file("own.log");
  Test_IO io;
  Log_Thread_Mutex lock;
  ASSERT_EQ(0, lock.open(nullptr));
  ASSERT_EQ(0, io.open(path.c_str(), &lock, 0, nullptr));
  Test_Cfg io_cfg = make_cfg(dir.file("unused.log"));
  io_cfg.level_ = 15;
  io.config(&io_cfg);

  Test_Logger log;
  log.cfg_.encrypt_key = 0x55;  // settings taken from an output object never scramble
  ASSERT_EQ(0, log.open(nullptr, &io, nullptr));
  EXPECT_TRUE(log.io_ == &io && !log.own_io_);
  EXPECT_TRUE(log.mutex_ == &lock && !log.own_mutex_);
  EXPECT_EQ(15, log.cfg_.level_);
  EXPECT_EQ(0u, log.cfg_.encrypt_key);
  log.log_msg_i(nullptr, LOG_LVL_INFO, 256, "record");
  log.close();
  EXPECT_EQ(&io, log.io_);
  EXPECT_NE(nullptr, io.handle());
  io.flush();
  EXPECT_EQ("record", read_file(path));  // no head, no tail
  EXPECT_FALSE(std::filesystem::exists(dir.file("unused.log")));

  Test_Cfg cfg = make_cfg(dir.file("unused.log"));  // an explicit record wins
  cfg.level_ = 7;
  ASSERT_EQ(0, log.open(&cfg, &io, nullptr));
  EXPECT_EQ(7, log.cfg_.level_);
  EXPECT_EQ(0, lock.acquire(-1));  // still the caller's, still open
  lock.release();
}

TEST(LogOpen, CreatesTheFilesDirectoriesOrReportsTheOpenError) {
  Temp_Dir dir;
  const mode_t old_mask = umask(022);
  Test_Cfg cfg = make_cfg(dir.path + "/logs//sub\\app.log");
  Test_Logger log;
  EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
  umask(old_mask);
  for (const char* sub : {"/logs", "/logs/sub"}) {
    struct stat st;
    ASSERT_EQ(0, stat((dir.path + sub).c_str(), &st)) << sub;
    EXPECT_EQ(S_IFDIR | 0755u, st.st_mode & (S_IFMT | 0777u)) << sub;
  }
  EXPECT_TRUE(std::filesystem::exists(dir.path + "/logs/sub\\app.log"));  // the file keeps the name as given

  write_file(dir.file("plain"), "");
  cfg = make_cfg(dir.file("plain/run.log"));
  EXPECT_EQ(ENOTDIR, log.open(&cfg, nullptr, nullptr));
  ASSERT_NE(nullptr, log.io_);  // kept, closed
  EXPECT_EQ(0, log.write_bound('='));
  log.log_error("goes nowhere");
}

// A lock that remembers the name it was opened with and can refuse it.
struct Named_Lock final : Log_Mutex {
  static inline std::string last_name;
  static inline int open_result = 0;
  int open(const char* name) override {
    last_name = name;
    return open_result;
  }
  int close(bool) override { return 0; }
  int acquire(int) override { return 0; }
  int release() override { return 0; }
  const char* name() override { return nullptr; }
};

// Console only (output 2): a lock named after the title, and no file.
TEST(LogOpen, ConsoleOnlyMakesANamedLockAndNoFile) {
  struct Case {
    const char *title, *name;
    int result;
    const char* printed;
  } cases[] = {
      {"Talvern Logging", "Kavri_Logger_Mutex_Talvern_Logging", 0, ""},
      {" a  b ", "Kavri_Logger_Mutex__a__b_", 0, ""},
      {"X", "Kavri_Logger_Mutex_X", 5, "Log_Impl_T::open open lock name Kavri_Logger_Mutex_X failed, error = 5.\n"},
  };
  for (const Case& c : cases) {
    Temp_Dir dir;
    Test_Cfg cfg = make_cfg(dir.file("run.log"));
    cfg.output_ = 2;
    cfg.title_ = c.title;
    Named_Lock::open_result = c.result;
    Log_Impl_T<Test_IO, Named_Lock, Test_Cfg> log;
    Stdout_Capture out;
    EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
    EXPECT_EQ(c.printed, out.text());
    EXPECT_EQ(c.name, Named_Lock::last_name);
    EXPECT_NE(nullptr, log.mutex_);  // kept even when it failed to open
    EXPECT_EQ(nullptr, log.io_);
    EXPECT_EQ(-1, log.write("abc", 3));
    log.close();
    EXPECT_FALSE(std::filesystem::exists(cfg.file_name_));
  }
}

}  // namespace
