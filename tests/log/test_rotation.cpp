// Rotation inside the logger: a record past the size limit moves the file
// to a dated backup (or empties it), pruning old backups by count.
#include <gtest/gtest.h>

#include <regex>

#include "log_test_util.h"

namespace {

constexpr auto npos = std::string::npos;

bool is_dated_backup(const std::string& name, const std::string& stem) {
  return std::regex_match(name, std::regex(stem + R"(_\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log)"));
}

// True when `parts` occur in `text` in this order.
bool in_order(const std::string& text, std::initializer_list<const char*> parts) {
  size_t at = 0;
  for (const char* p : parts)
    if ((at = text.find(p, at)) == npos) return false;
  return true;
}

TEST(Rotation, ARecordPastTheLimitMovesTheFileToADatedBackupFirst) {
  Opened_Logger<> o([](Test_Cfg& cfg) { cfg.max_count_ = 0; }, "tavn.log");
  Test_Logger& log = o.log;
  log.log_error("before the rotation");
  log.cfg_.max_size_ = log.io_->size() + 10;  // the next record does not fit
  log.log_error("after the rotation");
  log.close();
  const Names files = names(o.dir.path());
  ASSERT_EQ(2u, files.size());
  ASSERT_TRUE(is_dated_backup(files[1], "tavn")) << files[1];
  const std::string old_file = read_file(o.dir.file(files[1])), live = o.text();
  EXPECT_TRUE(in_order(old_file, {"\tCreated-Time", "before the rotation", "\tUnit Log Continue-Time: "})) << old_file;
  EXPECT_TRUE(in_order(live, {"\tSubject :    Unit Log\n\tContinued-Time", "after the rotation", "End-Time"})) << live;
  EXPECT_TRUE(old_file.find("after") == npos && live.find("before") == npos && live.find("Created") == npos);
}

// Rotation prunes only with a max_count of 1 or more.
TEST(Rotation, NoPruningBelowACountOfOne) {
  for (int max_count : {0, -3}) {
    SCOPED_TRACE("max_count " + std::to_string(max_count));
    Opened_Logger<> o([&](Test_Cfg& cfg) { cfg.max_count_ = max_count; }, "tavn.log");
    o.dir.write("tavn_2001-01-01_00-00-00.log", "old\n");
    ASSERT_EQ(0, o.log.back_file());
    const Names got = names(o.dir.path());
    ASSERT_EQ(3u, got.size());
    EXPECT_EQ("tavn_2001-01-01_00-00-00.log", got[1]);
    EXPECT_TRUE(is_dated_backup(got[2], "tavn")) << got[2];
  }
}

TEST(Rotation, OverwriteEmptiesInPlaceAndStillPrunes) {
  Opened_Logger<> o([](Test_Cfg& cfg) { cfg.max_count_ = 1, cfg.overwrite_ = true; }, "tavn.log");
  o.dir.write("tavn_2001-01-01_00-00-00.log", "old\n");
  o.log.log_error("gone after the rotation");
  ASSERT_EQ(0, o.log.back_file());
  EXPECT_EQ(Names{"tavn.log"}, names(o.dir.path()));
  EXPECT_TRUE(o.text().find("gone after") == npos && in_order(o.text(), {"Continued-Time"}));
}

TEST(Rotation, NamesWithoutExtensionOrTooLong) {
  Opened_Logger<> o([](Test_Cfg& cfg) { cfg.max_count_ = 5; }, "logs.d/tavn");
  ASSERT_EQ(0, o.log.back_file());
  const Names files = names(o.dir.path());  // the stem is cut at the directory's "."
  ASSERT_EQ(2u, files.size());
  EXPECT_TRUE(is_dated_backup(files[1], "logs")) << files[1];

  // A name whose dated backup would not fit the path buffer is emptied in place.
  const std::string deep = o.dir.file(std::string(229 - o.dir.path().size(), 'd'));
  o.cfg = make_cfg(deep + "/" + std::string(250 - deep.size(), 'x') + ".log");
  ASSERT_EQ(0, o.log.open(&o.cfg, nullptr, nullptr));
  o.log.log_error("gone");
  ASSERT_EQ(0, o.log.back_file());
  EXPECT_EQ(1u, names(deep).size());
  EXPECT_EQ(npos, o.text().find("gone"));
}

}  // namespace
