// The process-wide logger: the merge order of its configuration sources,
// one-time creation with its reference count, the release sequence, and the
// re-check of the configuration file while the logger runs.
#include <gtest/gtest.h>
#include <utime.h>

#include <ctime>
#include <tuple>

#include "log/log_singleton.h"
#include "log_test_util.h"

namespace {

using Singleton = Log_Singleton<Test_IO, Log_Win32_Process_Mutex, Test_Cfg>;
using Holder = Kavri_Singleton_T<Test_Logger>;

class SingletonTest : public ::testing::Test {
 protected:
  void TearDown() override {
    while (Holder::instance() != nullptr) Singleton::release();
  }
  Test_Cfg record(const std::string& name) {
    Test_Cfg c;
    c.file_name_ = dir_.file(name);
    c.title_ = "Singleton Test";
    return c;
  }
  Temp_Dir dir_;
};

// The output object's settings come first, the caller's record wins over
// them, the configuration file wins over both.  The output object's own
// configuration file is read only when no other is given and a section is.
TEST_F(SingletonTest, MergeOrderOutputObjectThenRecordThenFile) {
  Test_Cfg io_cfg = record("io.log"), mine = record("mine.log");
  io_cfg.level_ = 1;
  io_cfg.max_count_ = 3;
  io_cfg.cfg_file_ = dir_.write("io.cfg", "[logger]\nstyle = none\n[mine]\nlevel = all\noutput = 0\n");
  Test_IO io;
  io.config(&io_cfg);
  mine.max_count_ = 9;
  const std::string main_cfg = dir_.write("main.cfg", "[logger]\nlevel = debug\noutput = 0\n");
  ASSERT_EQ(0, Singleton::open(main_cfg.c_str(), nullptr, &mine, reinterpret_cast<void*>(0x1234), &io, nullptr));
  const Test_Cfg* got = &Holder::instance()->cfg_;
  EXPECT_EQ(std::make_tuple(63, 0, 9, reinterpret_cast<void*>(0x1234)),
            std::make_tuple(got->level_, got->output_, got->max_count_, got->module_));
  Singleton::release();
  ASSERT_EQ(0, Singleton::open(nullptr, nullptr, nullptr, nullptr, &io, nullptr));
  got = &Holder::instance()->cfg_;
  EXPECT_EQ(std::make_tuple(1, 255, 3), std::make_tuple(got->level_, got->style_, got->max_count_));
  Singleton::release();
  ASSERT_EQ(0, Singleton::open(nullptr, "mine", nullptr, nullptr, &io, nullptr));
  got = &Holder::instance()->cfg_;
  EXPECT_EQ(std::make_tuple(-1, 3, std::string("mine")), std::make_tuple(got->level_, got->max_count_, got->section));
}

// Only the first open creates and opens a logger; every release closes it
// and the last one deletes it.
TEST_F(SingletonTest, OneLoggerCountedAndReleased) {
  ASSERT_EQ(0, Singleton::open(record("first.log"), nullptr, nullptr));
  Test_Logger* first = Holder::instance();
  Test_Cfg second = record("second.log");
  second.level_ = 63;
  EXPECT_EQ(0, Singleton::open(second, nullptr, nullptr));
  EXPECT_TRUE(Holder::instance() == first && Holder::ref_count() == 1 && Holder::need_delelte());
  EXPECT_EQ(7, first->cfg_.level_);
  EXPECT_FALSE(std::filesystem::exists(dir_.file("second.log")));

  ++Holder::ref_count();  // a second holder of a reference
  Singleton::release();
  ASSERT_EQ(first, Holder::instance());
  EXPECT_EQ(nullptr, first->io_);  // closed all the same
  EXPECT_NE(std::string::npos, read_file(dir_.file("first.log")).find("Singleton Test End-Time"));
  Singleton::release();
  EXPECT_TRUE(Holder::instance() == nullptr && Holder::ref_count() == 0 && !Holder::need_delelte());
}

TEST_F(SingletonTest, FailedOpenStaysRegistered) {
  Test_Cfg bad = record("x.log");
  bad.file_name_ = "/proc/nonexistent/dir/x.log";
  EXPECT_NE(0, Singleton::open(bad, nullptr, nullptr));
  EXPECT_NE(nullptr, Holder::instance());
  EXPECT_EQ(1, Holder::ref_count());
}

// Relative names of up to 260 characters are normalised; absolute and
// longer ones are used as given.
TEST_F(SingletonTest, RelativeNamesAreNormalised) {
  ASSERT_EQ(0, chdir(dir_.path().c_str()));
  const std::string at_limit = std::string(257, 'a') + "//b", over = std::string(258, 'a') + "//b";
  const std::pair<std::string, std::string> cases[] = {{"logs\\\\run.log", "logs/run.log"},
                                                       {"\\x", "/x"},
                                                       {"C:\\\\x.log", "C:\\\\x.log"},
                                                       {"/var//x.log", "/var//x.log"},
                                                       {"\\\\srv\\\\x", "\\\\srv\\\\x"},
                                                       {at_limit, std::string(257, 'a') + "/b"},
                                                       {over, over}};
  for (const auto& [given, used] : cases) {
    SCOPED_TRACE(given);
    Test_Cfg cfg;
    cfg.file_name_ = given;
    cfg.output_ = 0;  // no file: only the name is looked at
    ASSERT_EQ(0, Singleton::open(cfg, nullptr, nullptr));
    EXPECT_EQ(used, Holder::instance()->cfg_.file_name_);
    Singleton::release();
  }
}

// The re-check reads a changed file at most once in 11 seconds and takes
// back output, level, style and flush, and the level again as console_level.
class CheckConfig : public ::testing::Test {
 protected:
  void SetUp() override {
    write_cfg("[logger]\nlevel = info\nconsole_level = 1\n", 1000000);
    Test_Cfg cfg = make_cfg(dir_.file("t.log"));
    cfg.read_config(nullptr, dir_.file("t.cfg").c_str());
    ASSERT_EQ(0, log_.open(&cfg, nullptr, nullptr));
    ASSERT_EQ(std::make_pair(15, 1), std::make_pair(log_.cfg_.level_, log_.cfg_.console_level_));
  }
  void write_cfg(const std::string& text, time_t mtime) {
    const struct utimbuf t = {mtime, mtime};
    utime(dir_.write("t.cfg", text).c_str(), &t);
  }
  // Runs the check as if the last one was `ago` seconds back.
  void check(int ago) {
    log_.last_cfg_check = static_cast<int32_t>(time(nullptr)) - ago;
    log_.check_config();
  }
  Temp_Dir dir_;
  Test_Logger log_;
};

TEST_F(CheckConfig, ChangedFileIsTakenBackAfterElevenSeconds) {
  write_cfg("[logger]\nlevel = debug\nconsole_level = 2\nstyle = short\nflush = 1\nmaxsize = 99999\ntitle = New\n",
            2000000);
  check(10);  // within the interval: nothing happens
  EXPECT_EQ(15, log_.cfg_.level_);
  check(11);
  const Test_Cfg& c = log_.cfg_;  // console_level from level, not console_level; the rest stays as opened
  EXPECT_EQ(std::make_tuple(63, 63, 61, true, 2000000),
            std::make_tuple(c.level_, c.console_level_, c.style_, c.flush_always_, c.cfg_mtime));
  EXPECT_EQ(std::make_pair(10485760u, std::string("Unit Log")), std::make_pair(c.max_size_, c.title_));
  write_cfg("[logger]\nlevel = all\n", 2000000);  // the same time: not read
  check(100);
  EXPECT_EQ(63, log_.cfg_.level_);
  EXPECT_GE(log_.last_cfg_check, static_cast<int32_t>(time(nullptr)) - 1);
}

TEST_F(CheckConfig, DeletedFileKeepsLevelsButClearsFlushAndRecordsCheckFirst) {
  log_.cfg_.flush_always_ = true;
  remove(dir_.file("t.cfg").c_str());
  check(11);
  EXPECT_EQ(std::make_pair(15, 15), std::make_pair(log_.cfg_.level_, log_.cfg_.console_level_));
  EXPECT_FALSE(log_.cfg_.flush_always_);
  EXPECT_EQ(0, log_.cfg_.cfg_mtime);
  write_cfg("[logger]\nlevel = none\n", 3000000);
  log_.last_cfg_check -= 11;
  log_.log_error("dropped: the check runs first and turns every level off");
  EXPECT_EQ(0, log_.cfg_.level_);
  EXPECT_EQ(std::string::npos, read_file(dir_.file("t.log")).find("dropped"));
}

}  // namespace
