// Searching a directory tree for backup files.
#include <gtest/gtest.h>

#include <cerrno>
#include <list>
#include <set>
#include <string>

#include "log/find_files.h"
#include "log/path_norm.h"
#include "test_cfg_tmpdir.h"

namespace {

using Found = std::multiset<std::string>;

Found as_set(const std::list<std::string>& l) { return Found(l.begin(), l.end()); }

TEST(FindFilesTest, PatternsOverAFlatDirectory) {
  TmpDir t;
  t.write("tavn_1.log", "");
  t.write("tavn_2.log", "");
  t.write("TAVN_3.log", "");
  t.write("other.txt", "");
  const std::string r = t.path();
  const std::string stars300(300, '*'), stars301(301, '*');
  const struct {
    std::string pattern;
    Found expect;
  } cases[] = {
      {"tavn_*.log", {r + "tavn_1.log", r + "tavn_2.log"}},
      {"*.txt", {r + "other.txt"}},
      {"nothing*", {}},
      {stars300, {r + "tavn_1.log", r + "tavn_2.log", r + "TAVN_3.log", r + "other.txt"}},
      {stars301, {r + "tavn_1.log", r + "tavn_2.log", r + "TAVN_3.log", r + "other.txt"}},
  };
  for (const auto& c : cases) {
    std::list<std::string> found;
    EXPECT_EQ(KAVRI_LOG::find_files(r.c_str(), c.pattern.c_str(), found, true), 0);
    EXPECT_EQ(as_set(found), c.expect) << c.pattern.substr(0, 20);
  }
}

TEST(FindFilesTest, SeparatorsAreNormalised) {
  TmpDir t;
  t.write("a.log", "");
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files((t.path() + "/").c_str(), "*", found, false), 0);
  EXPECT_EQ(found, std::list<std::string>{t.path("a.log")});
}

TEST(FindFilesTest, MatchingDirectoriesAreAlwaysSearchedWithNamesRunTogether) {
  TmpDir t;
  t.mkdir("tavn_d.log");
  t.write("tavn_d.log/tavn_e.log", "");
  // What the nested search builds.  Not found at the top level: "*.log"
  // stops at the first ".log".
  t.write("tavn_d.logtavn_e.log", "");
  for (bool recursive : {true, false}) {
    std::list<std::string> found;
    EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "tavn_*.log", found, recursive), 0);
    const std::string joined = t.path("tavn_d.logtavn_e.log");
    EXPECT_EQ(found, std::list<std::string>{joined});
  }
}

TEST(FindFilesTest, Failures) {
  TmpDir t;
  t.mkdir("sub.log");
  t.write("sub.log/x.log", "");  // nested path "sub.logx.log" does not exist
  t.write("plain", "");
  const struct {
    const char* name;
    std::string dir;
    const char* pattern;
    int rc;
  } cases[] = {
      {"missing directory", t.path("missing/"), "*", ENOENT},
      {"not a directory", t.path("plain"), "*", ENOTDIR},
      {"null pattern", t.path(), nullptr, 0},
      {"missing directory, null pattern", t.path("missing/"), nullptr, ENOENT},
      {"nested entry cannot be examined", t.path(), "*.log", -1},
  };
  for (const auto& c : cases) {
    std::list<std::string> found;
    EXPECT_EQ(KAVRI_LOG::find_files(c.dir.c_str(), c.pattern, found, true), c.rc) << c.name;
    EXPECT_TRUE(found.empty()) << c.name;
  }
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files(nullptr, "*", found, true), EINVAL);
}

TEST(FindFilesTest, PathBufferLimit) {
  // Paths of up to kMaxPath - 1 characters are built; longer ones refused.
  TmpDir t;
  const std::size_t base = t.path().size();
  const std::size_t room = KAVRI_LOG::kMaxPath - 1 - base;  // characters left for a name
  ASSERT_GT(room, 10u);
  ASSERT_LT(room, 255u);
  const std::string fits(room, 'f');
  const std::string too_long(room + 1, 'g');
  t.write(fits, "");
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "f*", found, true), 0);
  EXPECT_EQ(found, std::list<std::string>{t.path(fits)});

  t.write(too_long, "");
  found.clear();
  errno = 0;
  EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "g*", found, true), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_TRUE(found.empty());
}

TEST(FindFilesTest, BackslashDirectoryDoesNotLoop) {
  // "dir/" + "\" normalises back to "dir/": the search must not re-enter it.
  TmpDir t;
  t.mkdir("\\");
  t.write("a.log", "");
  std::list<std::string> found;
  EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "*", found, true), 0);
  EXPECT_EQ(found, std::list<std::string>{t.path("a.log")});
}

}  // namespace
