// Log_Singleton: the merge order of its configuration sources, the one-time
// creation with its reference count, and the release sequence.
#include <gtest/gtest.h>

#include "log/log_singleton.h"
#include "log_core_test_util.h"

namespace {

bool access_ok(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

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

TEST_F(SingletonTest, MergeOrderIoThenRecordThenFile) {
  // The output object's settings come first; the caller's record wins over
  // them; the configuration file wins over both.
  Test_Cfg io_cfg = record("io.log");
  io_cfg.level_ = 1;
  io_cfg.max_count_ = 3;
  io_cfg.cfg_file_ = dir_.file("io.cfg");
  Test_IO io;
  io.config(&io_cfg);
  write_file(dir_.file("io.cfg"), "[logger]\nstyle = none\n");
  write_file(dir_.file("main.cfg"), "[logger]\nlevel = debug\noutput = 0\n");

  Test_Cfg mine = record("mine.log");
  mine.max_count_ = 9;
  ASSERT_EQ(Singleton::open(dir_.file("main.cfg").c_str(), nullptr, &mine,
                            reinterpret_cast<void*>(0x1234), &io, nullptr),
            0);
  Test_Logger* l = Holder::instance();
  ASSERT_NE(l, nullptr);
  EXPECT_EQ(l->cfg_.level_, 63);       // file
  EXPECT_EQ(l->cfg_.output_, 0);       // file
  EXPECT_EQ(l->cfg_.max_count_, 9);    // record over io
  EXPECT_EQ(l->cfg_.style_, 255);      // io's file is not read without a section
  EXPECT_EQ(l->cfg_.module_, reinterpret_cast<void*>(0x1234));
}

TEST_F(SingletonTest, IoConfigurationFileNeedsASection) {
  Test_Cfg io_cfg = record("io.log");
  io_cfg.cfg_file_ = dir_.file("io.cfg");
  io_cfg.output_ = 0;
  Test_IO io;
  io.config(&io_cfg);
  write_file(dir_.file("io.cfg"), "[mine]\nlevel = all\n");
  ASSERT_EQ(Singleton::open(nullptr, "mine", nullptr, nullptr, &io, nullptr), 0);
  EXPECT_EQ(Holder::instance()->cfg_.level_, -1);
  EXPECT_EQ(Holder::instance()->cfg_.section, "mine");
}

TEST_F(SingletonTest, SecondOpenChangesNothing) {
  Test_Cfg first = record("first.log");
  ASSERT_EQ(Singleton::open(first, nullptr, nullptr), 0);
  Test_Logger* l = Holder::instance();
  Test_Cfg second = record("second.log");
  second.level_ = 63;
  EXPECT_EQ(Singleton::open(second, nullptr, nullptr), 0);
  EXPECT_EQ(Holder::instance(), l);
  EXPECT_EQ(Holder::ref_count(), 1);
  EXPECT_EQ(l->cfg_.level_, 7);
  EXPECT_TRUE(access_ok(dir_.file("first.log")));
  EXPECT_FALSE(access_ok(dir_.file("second.log")));
  EXPECT_TRUE(Holder::need_delelte());

  Singleton::release();
  EXPECT_EQ(Holder::instance(), nullptr);
  EXPECT_EQ(Holder::ref_count(), 0);
  EXPECT_FALSE(Holder::need_delelte());
  EXPECT_NE(read_file(dir_.file("first.log")).find("Singleton Test End-Time"), std::string::npos);
}

TEST_F(SingletonTest, ReleaseClosesEveryTimeAndDeletesWithTheLastReference) {
  ASSERT_EQ(Singleton::open(record("r.log"), nullptr, nullptr), 0);
  ++Holder::ref_count();  // a second holder of a reference
  Singleton::release();
  ASSERT_NE(Holder::instance(), nullptr);
  EXPECT_EQ(Holder::instance()->io_, nullptr);  // closed all the same
  Singleton::release();
  EXPECT_EQ(Holder::instance(), nullptr);
}

TEST_F(SingletonTest, FailedOpenStaysRegistered) {
  Test_Cfg bad = record("x.log");
  bad.file_name_ = "/proc/nonexistent/dir/x.log";
  EXPECT_NE(Singleton::open(bad, nullptr, nullptr), 0);
  EXPECT_NE(Holder::instance(), nullptr);
  EXPECT_EQ(Holder::ref_count(), 1);
}

TEST_F(SingletonTest, RelativeNamesAreNormalised) {
  ASSERT_EQ(chdir(dir_.path.c_str()), 0);
  struct Case { const char* given; const char* used; } cases[] = {
      {"logs\\\\run.log", "logs/run.log"},
      {"sub\\x.log", "sub/x.log"},
      {"./a//b.log", "./a/b.log"},
      {"C:x.log", "C:x.log"},
  };
  for (const Case& c : cases) {
    Test_Cfg cfg;
    cfg.file_name_ = c.given;
    cfg.output_ = 0;  // no file: only the name is looked at
    ASSERT_EQ(Singleton::open(cfg, nullptr, nullptr), 0);
    EXPECT_EQ(Holder::instance()->cfg_.file_name_, c.used) << c.given;
    Singleton::release();
  }
}

}  // namespace
