// Log rotation: dated backups, pruning by count, overwrite, and the head
// and tail blocks around a rotation.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "log_core_test_util.h"

namespace {

// Names in `dir` (one level), sorted.
std::vector<std::string> names(const std::string& dir) {
  std::vector<std::string> out;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') out.push_back(e->d_name);
    closedir(d);
  }
  std::sort(out.begin(), out.end());
  return out;
}

bool is_dated_backup(const std::string& name, const std::string& stem) {
  // stem_YYYY-MM-DD_HH-MM-SS.log
  if (name.size() != stem.size() + 24 || name.compare(0, stem.size() + 1, stem + "_") != 0)
    return false;
  const std::string shape = "dddd-dd-dd_dd-dd-dd.log";
  for (size_t i = 0; i < shape.size(); ++i) {
    char c = name[stem.size() + 1 + i];
    if (shape[i] == 'd' ? (c < '0' || c > '9') : c != shape[i]) return false;
  }
  return true;
}

class Rotation : public ::testing::Test {
 protected:
  void open(int max_count, bool overwrite = false, const std::string& name = "tavn.log") {
    Test_Cfg cfg = make_cfg(dir_.file(name));
    cfg.max_count_ = max_count;
    cfg.overwrite_ = overwrite;
    ASSERT_EQ(logger_.open(&cfg, nullptr, nullptr), 0);
  }
  void backups(std::initializer_list<const char*> stamps) {
    for (const char* s : stamps) write_file(dir_.file(std::string("tavn_") + s + ".log"), "old\n");
  }
  int rotate() {
    logger_.lock(-1);
    int r = logger_.back_file();
    logger_.unlock();
    return r;
  }
  Temp_Dir dir_;
  Test_Logger logger_;
};

TEST_F(Rotation, BackupTakesTheOldFileWithATailAndTheNewFileGetsAHead) {
  open(0);
  logger_.log_error("before the rotation");
  ASSERT_EQ(rotate(), 0);
  logger_.log_error("after the rotation");
  std::vector<std::string> files = names(dir_.path);
  ASSERT_EQ(files.size(), 2u);
  ASSERT_TRUE(is_dated_backup(files[1], "tavn")) << files[1];
  std::string old_file = read_file(dir_.file(files[1]));
  EXPECT_NE(old_file.find("Created-Time"), std::string::npos);
  EXPECT_NE(old_file.find("before the rotation"), std::string::npos);
  EXPECT_NE(old_file.find("\tUnit Log Continue-Time: "), std::string::npos);
  std::string live = read_file(dir_.file("tavn.log"));
  EXPECT_EQ(live.find("=====\n\tKavri log file\n\tSubject :    Unit Log\n\tContinued-Time :"), 56u);
  EXPECT_NE(live.find("after the rotation"), std::string::npos);
  EXPECT_EQ(live.find("before the rotation"), std::string::npos);
}

TEST_F(Rotation, PruningKeepsTheOldestAndDeletesAtMostOne) {
  struct Case {
    int max_count;
    std::vector<const char*> existing;
    std::vector<const char*> left;  // old backups left after one rotation
  } cases[] = {
      {0, {"2001-01-01_00-00-00", "2002-01-01_00-00-00"}, {"2001-01-01_00-00-00", "2002-01-01_00-00-00"}},
      {-3, {"2001-01-01_00-00-00"}, {"2001-01-01_00-00-00"}},
      {1, {"2001-01-01_00-00-00"}, {}},
      {2, {"2001-01-01_00-00-00", "2002-01-01_00-00-00"}, {"2001-01-01_00-00-00"}},
      {2, {"2001-01-01_00-00-00"}, {"2001-01-01_00-00-00"}},
      {3, {"2001-01-01_00-00-00", "2002-01-01_00-00-00", "2003-01-01_00-00-00", "2004-01-01_00-00-00"},
       {"2001-01-01_00-00-00", "2003-01-01_00-00-00", "2004-01-01_00-00-00"}},
  };
  for (const Case& c : cases) {
    Temp_Dir dir;
    Test_Cfg cfg = make_cfg(dir.file("tavn.log"));
    cfg.max_count_ = c.max_count;
    Test_Logger logger;
    ASSERT_EQ(logger.open(&cfg, nullptr, nullptr), 0);
    for (const char* s : c.existing) write_file(dir.file(std::string("tavn_") + s + ".log"), "old\n");
    write_file(dir.file("other.log"), "not a backup\n");
    ASSERT_EQ(logger.back_file(), 0);
    std::vector<std::string> want = {"other.log", "tavn.log"};
    for (const char* s : c.left) want.push_back(std::string("tavn_") + s + ".log");
    std::vector<std::string> got = names(dir.path);
    // The new backup is dated now: take it out before comparing.
    auto fresh = std::find_if(got.begin(), got.end(), [](const std::string& n) {
      return is_dated_backup(n, "tavn") && n.compare(5, 2, "20") == 0 && n.compare(5, 4, "2001") &&
             n.compare(5, 4, "2002") && n.compare(5, 4, "2003") && n.compare(5, 4, "2004");
    });
    ASSERT_NE(fresh, got.end()) << c.max_count;
    got.erase(fresh);
    std::sort(want.begin(), want.end());
    EXPECT_EQ(got, want) << "max_count " << c.max_count;
  }
}

TEST_F(Rotation, RepeatedRotationsWithTwoKeepTheOldestAndTheNewest) {
  open(2);
  backups({"2001-01-01_00-00-00", "2002-01-01_00-00-00"});
  ASSERT_EQ(rotate(), 0);  // deletes 2002, makes today's
  std::vector<std::string> files = names(dir_.path);
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[1], "tavn_2001-01-01_00-00-00.log");
  EXPECT_TRUE(is_dated_backup(files[2], "tavn"));
}

TEST_F(Rotation, OverwriteEmptiesInPlaceAndStillPrunes) {
  open(1, true);
  backups({"2001-01-01_00-00-00"});
  logger_.log_error("gone after the rotation");
  ASSERT_EQ(rotate(), 0);
  EXPECT_EQ(names(dir_.path), std::vector<std::string>{"tavn.log"});
  std::string live = read_file(dir_.file("tavn.log"));
  EXPECT_EQ(live.find("gone after"), std::string::npos);
  EXPECT_NE(live.find("Continued-Time"), std::string::npos);
}

TEST_F(Rotation, RecordsPastTheLimitRotateFirst) {
  Test_Cfg cfg = make_cfg(dir_.file("tavn.log"));
  cfg.max_size_ = 2000;
  cfg.max_count_ = 0;
  ASSERT_EQ(logger_.open(&cfg, nullptr, nullptr), 0);
  for (int i = 0; i < 40; ++i) logger_.log_error("record number %02d with some padding text", i);
  std::string live = read_file(dir_.file("tavn.log"));
  EXPECT_LE(live.size(), 2000u);
  EXPECT_NE(live.find("record number 39"), std::string::npos);
  // Rotations within one second reuse one backup name: at least one exists.
  std::vector<std::string> files = names(dir_.path);
  EXPECT_GE(files.size(), 2u);
}

TEST_F(Rotation, NamesWithoutExtensionOrTooLong) {
  ASSERT_EQ(mkdir(dir_.file("logs.d").c_str(), 0755), 0);
  open(5, false, "logs.d/tavn");
  ASSERT_EQ(rotate(), 0);
  // The stem is cut at the directory's ".".
  std::vector<std::string> files = names(dir_.path);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_TRUE(is_dated_backup(files[1], "logs")) << files[1];
  logger_.close();

  // A name whose dated backup would not fit the path buffer is emptied in place.
  std::string deep = dir_.path;
  while (deep.size() < 230) {
    deep += "/dddddddddddddddddddd";
    ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
  }
  std::string name = deep + "/" + std::string(250 - deep.size(), 'x') + ".log";
  Test_Cfg cfg = make_cfg(name);
  Test_Logger logger;
  ASSERT_EQ(logger.open(&cfg, nullptr, nullptr), 0);
  logger.log_error("gone");
  ASSERT_EQ(logger.back_file(), 0);
  EXPECT_EQ(names(deep).size(), 1u);
  EXPECT_EQ(read_file(name).find("gone"), std::string::npos);
}

}  // namespace
