// Log rotation and the helpers it uses: the separator normalisers, the
// wildcard matcher and the backup search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <regex>
#include <set>
#include <vector>

#include "log/find_files.h"
#include "log/log_backup.h"
#include "log/log_os.h"
#include "log/match_string.h"
#include "log_test_util.h"

namespace {

using Names = std::vector<std::string>;
using Paths = std::multiset<std::string>;
constexpr auto npos = std::string::npos;

// Names in `dir` (one level), sorted.
Names names(const std::string& dir) {
  Names out;
  for (const auto& e : std::filesystem::directory_iterator(dir)) out.push_back(e.path().filename());
  std::sort(out.begin(), out.end());
  return out;
}

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

// At most one old backup is deleted once max_count or more are found, and
// never the oldest when there are two or more.
TEST(Backups, PruningByCount) {
  const std::string y1 = "tavn_2001-01-01_00-00-00.log", y2 = "tavn_2002-01-01_00-00-00.log",
                    y3 = "tavn_2003-01-01_00-00-00.log", y4 = "tavn_2004-01-01_00-00-00.log";
  // The old backups before and after one pruning.
  const struct {
    int max_count;
    Names existing, left;
  } cases[] = {
      {1, {y1}, {}}, {2, {y1, y2}, {y1}}, {2, {y1}, {y1}}, {3, {y1, y2, y3, y4}, {y1, y3, y4}}, {1, {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("max_count " + std::to_string(c.max_count) + ", " + std::to_string(c.existing.size()) + " found");
    Temp_Dir t;
    for (const std::string& name : c.existing) t.write(name, "old\n");
    t.write("other.log", "not a backup\n");
    KAVRI_LOG::prune_backups(t.file().c_str(), "tavn_*.log", c.max_count);
    Names want = {"other.log"};
    want.insert(want.end(), c.left.begin(), c.left.end());
    EXPECT_EQ(want, names(t.path()));
  }
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

TEST(Backups, NamesAndSearch) {
  const std::string long_name(KAVRI_LOG::kMaxPath, 'x');
  // name -> backup name (or "" when it does not fit), folder and pattern
  // searched (or "" when refused).
  const struct {
    std::string name, backup, dir, pattern;
  } cases[] = {
      {"tavn.log", "tavn_S.log", "./", "tavn_*.log"},
      {"logs\\tavn.log", "logs\\tavn_S.log", "logs/", "tavn_*.log"},
      {"logs.d/tavn", "logs_S.log", "logs.d/", "tavn_*.log"},  // the stem is cut at the folder's "."
      {"/x", "/x_S.log", "/", "x_*.log"},
      {"a.b.log", "a.b_S.log", "./", "a.b_*.log"},
      {long_name.substr(0, 255) + ".log", "", "", ""},
      {long_name, "", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    char out[KAVRI_LOG::kMaxPath], dir[KAVRI_LOG::kMaxPath], pattern[KAVRI_LOG::kMaxPath];
    const bool named = KAVRI_LOG::backup_name(out, c.name.c_str(), "S");
    EXPECT_EQ(c.backup, named ? out : "");
    const bool searched = KAVRI_LOG::backup_search(dir, pattern, c.name.c_str());
    EXPECT_EQ(c.dir + c.pattern, searched ? std::string(dir) + pattern : "");
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

TEST(PathNorm, BothNormalisersAgree) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"a//b", "a/b"},
      {"logs\\\\run.log", "logs/run.log"},
      {"sub\\x.log", "sub/x.log"},
      {"./t.log", "./t.log"},
      {"a/\\/b//", "a/b/"},
      {"//x", "/x"},
      {"\\", "/"},
      {"\\\\srv\\x", "\\\\srv/x"},  // a leading pair is kept without a run ...
      {"\\\\srv\\\\x", "srv/x"},    // ... and dropped with one
      {"\\\\\\x", "\\\\/x"},        // one separator after the pair is no run
  };
  for (const auto& [in, out] : cases) {
    SCOPED_TRACE(in);
    std::string s(in);
    KAVRI_LOG::normalize_path(s);
    EXPECT_EQ(s, out) << in;
    char buf[KAVRI_LOG::kMaxPath];
    snprintf(buf, sizeof buf, "%s", in);
    KAVRI_LOG::normalize_separators(buf);
    EXPECT_STREQ(buf, out) << in;
  }
  KAVRI_LOG::normalize_separators(nullptr);
}

// Exact and case-sensitive; each "*" takes only the first occurrence of the
// text after it, without backtracking.
TEST(MatchString, Rules) {
  const struct {
    const char *pattern, *text;
    bool match;
  } cases[] = {
      {"", "", true},
      {"", "a", false},
      {"abc", "abc", true},
      {"abc", "abcd", false},
      {"abcd", "abc", false},
      {"ABC", "abc", false},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"ab?", "ab", false},
      {"?", "", false},
      {"*", "", true},
      {"a*", "a", true},
      {"*c", "abc", true},
      {"*c", "abcc", false},
      {"**a", "xa", true},
      {"*?", "x", true},
      {"*?", "xy", false},
      {"a*b?c", "abZc", true},
      {"a*?b", "aXb", true},
      {"a*?b", "aXYb", false},
      {"*.log", "a.log", true},
      {"*.log", "a.log.log", false},
      {"*ab?d", "abxabcd", false},
      {"*ab?d", "abcd", true},
      {"tavn_*.log", "tavn_2026-11-15_12-00-00.log", true},
      {"tavn_*.log", "TAVN_x.log", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.pattern << " vs " << c.text);
    std::string pattern(c.pattern);
    EXPECT_EQ(KAVRI_LOG::match_string_i(&pattern[0], c.text), c.match) << c.pattern << " vs " << c.text;
    EXPECT_EQ(pattern, c.pattern) << "pattern not restored";
  }
  char star[] = "*";
  EXPECT_FALSE(KAVRI_LOG::match_string_i(nullptr, "a") || KAVRI_LOG::match_string_i(star, nullptr));
}

Paths find(const std::string& dir, const char* pattern, int expect_rc = 0) {
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files(dir.c_str(), pattern, found, false), expect_rc) << dir << " " << pattern;
  return Paths(found.begin(), found.end());
}

TEST(FindFiles, Patterns) {
  Temp_Dir t;
  for (const char* name : {"tavn_1.log", "tavn_2.log", "TAVN_3.log", "other.txt"}) t.write(name, "");
  const std::string r = t.file();
  const Paths all = {r + "tavn_1.log", r + "tavn_2.log", r + "TAVN_3.log", r + "other.txt"};
  EXPECT_EQ(find(r, "tavn_*.log"), (Paths{r + "tavn_1.log", r + "tavn_2.log"}));
  EXPECT_EQ(find(r + "/", "*.txt"), Paths{r + "other.txt"});  // separators normalised
  EXPECT_EQ(find(r, "nothing*"), Paths{});
  EXPECT_EQ(find(r, std::string(300, '*').c_str()), all);  // the pattern copied on the stack ...
  EXPECT_EQ(find(r, std::string(301, '*').c_str()), all);  // ... and on the heap
  EXPECT_EQ(find(r, nullptr), Paths{});
}

// A matching directory is always descended into, and the paths built inside
// it run its name and the entry's name together.
TEST(FindFiles, MatchingDirectoriesAreSearchedWithNamesRunTogether) {
  Temp_Dir t;
  std::filesystem::create_directories(t.file("tavn_d.log"));
  t.write("tavn_d.log/tavn_e.log", "");
  const std::string joined = t.write("tavn_d.logtavn_e.log", "");  // the path the nested search builds
  std::filesystem::create_directories(t.file("\\"));               // "dir/" + "\" leads back to "dir/"
  EXPECT_EQ(find(t.file(), "*.log"), Paths{joined});               // stops at the first ".log": found only nested
  EXPECT_EQ(find(t.file(), "*"), (Paths{joined, joined}));
}

TEST(FindFiles, Failures) {
  Temp_Dir t;
  t.write("plain", "");
  EXPECT_EQ(find(t.file("missing/"), "*", ENOENT), Paths{});
  EXPECT_EQ(find(t.file("plain"), "*", ENOTDIR), Paths{});
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files(nullptr, "*", found, true), EINVAL);
  std::filesystem::create_directories(t.file("sub.log"));
  t.write("sub.log/x.log", "");
  EXPECT_EQ(find(t.file(), "*.log", -1), Paths{});  // the nested path "sub.logx.log" does not exist
  std::filesystem::remove_all(t.file("sub.log"));
  // Paths of up to kMaxPath - 1 characters are built; longer ones are refused.
  const std::size_t room = KAVRI_LOG::kMaxPath - 1 - t.file().size();
  ASSERT_TRUE(room > 10 && room < 255);
  t.write(std::string(room, 'f'), "");
  t.write(std::string(room + 1, 'g'), "");
  EXPECT_EQ(find(t.file(), "f*"), Paths{t.file(std::string(room, 'f'))});
  errno = 0;
  EXPECT_EQ(find(t.file(), "g*", -1), Paths{});
  EXPECT_EQ(errno, ENAMETOOLONG);
}

}  // namespace
