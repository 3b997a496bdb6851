// The configuration re-check: at most once in 11 seconds, only when the
// file's time changed, taking back output, level, style and flush (and the
// level again as console_level).
#include <gtest/gtest.h>
#include <utime.h>

#include <ctime>

#include "log_core_test_util.h"

namespace {

class CheckConfig : public ::testing::Test {
 protected:
  void SetUp() override {
    cfg_path_ = dir_.file("t.cfg");
    write_cfg("[logger]\nlevel = info\nconsole_level = 1\n", 1000000);
    Test_Cfg cfg = make_cfg(dir_.file("t.log"));
    cfg.read_config(nullptr, cfg_path_.c_str());
    ASSERT_EQ(logger_.open(&cfg, nullptr, nullptr), 0);
    ASSERT_EQ(logger_.cfg_.level_, 15);
    ASSERT_EQ(logger_.cfg_.console_level_, 1);
  }
  void write_cfg(const std::string& text, time_t mtime) {
    write_file(cfg_path_, text);
    struct utimbuf t = {mtime, mtime};
    utime(cfg_path_.c_str(), &t);
  }
  // Makes the last check look `ago` seconds old.
  void last_check(int ago) { logger_.last_cfg_check = static_cast<int32_t>(time(nullptr)) - ago; }

  Temp_Dir dir_;
  std::string cfg_path_;
  Test_Logger logger_;
};

TEST_F(CheckConfig, ChangedFileIsTakenBackAfterElevenSeconds) {
  write_cfg("[logger]\nlevel = debug\nconsole_level = 2\nstyle = short\nflush = 1\n"
            "maxsize = 99999\ntitle = New\n",
            2000000);
  last_check(10);  // within the interval: nothing happens
  logger_.check_config();
  EXPECT_EQ(logger_.cfg_.level_, 15);

  last_check(11);
  logger_.check_config();
  EXPECT_EQ(logger_.cfg_.level_, 63);
  EXPECT_EQ(logger_.cfg_.console_level_, 63);  // from level, not console_level
  EXPECT_EQ(logger_.cfg_.style_, 61);
  EXPECT_TRUE(logger_.cfg_.flush_always_);
  EXPECT_EQ(logger_.cfg_.max_size_, 10485760u);  // the rest stays as opened
  EXPECT_STREQ(logger_.cfg_.title(), "Unit Log");
  EXPECT_EQ(logger_.cfg_.cfg_mtime, 2000000);
}

TEST_F(CheckConfig, UnchangedTimeReadsNothing) {
  write_cfg("[logger]\nlevel = all\n", 1000000);  // same time as before
  last_check(100);
  logger_.check_config();
  EXPECT_EQ(logger_.cfg_.level_, 15);
  EXPECT_GE(logger_.last_cfg_check, static_cast<int32_t>(time(nullptr)) - 1);
}

TEST_F(CheckConfig, DeletedFileKeepsLevelsButClearsFlush) {
  logger_.cfg_.flush_always_ = true;
  remove(cfg_path_.c_str());
  last_check(11);
  logger_.check_config();
  EXPECT_EQ(logger_.cfg_.level_, 15);
  EXPECT_EQ(logger_.cfg_.console_level_, 15);
  EXPECT_FALSE(logger_.cfg_.flush_always_);
  EXPECT_EQ(logger_.cfg_.cfg_mtime, 0);
}

TEST_F(CheckConfig, EveryRecordRunsTheCheck) {
  write_cfg("[logger]\nlevel = none\n", 3000000);
  last_check(11);
  logger_.log_error("dropped: the check runs first and turns every level off");
  EXPECT_EQ(logger_.cfg_.level_, 0);
  EXPECT_EQ(read_file(dir_.file("t.log")).find("dropped"), std::string::npos);
}

}  // namespace
