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

using Paths = std::list<std::string>;

TEST(FindFilesTest, PatternsOverAFlatDirectory) {
  TmpDir t;
  for (const char* name : {"tavn_1.log", "tavn_2.log", "TAVN_3.log", "other.txt"}) t.write(name, "");
  const std::string r = t.path();
  const std::set<std::string> all = {r + "tavn_1.log", r + "tavn_2.log", r + "TAVN_3.log",
                                     r + "other.txt"};
  const struct {
    std::string dir, pattern;
    std::set<std::string> expect;
  } cases[] = {
      {r, "tavn_*.log", {r + "tavn_1.log", r + "tavn_2.log"}},
      {r + "/", "*.txt", {r + "other.txt"}},  // separators normalised
      {r, "nothing*", {}},
      {r, std::string(300, '*'), all},  // pattern copied to the stack
      {r, std::string(301, '*'), all},  // ... and to the heap
  };
  for (const auto& c : cases) {
    Paths found;
    EXPECT_EQ(KAVRI_LOG::find_files(c.dir.c_str(), c.pattern.c_str(), found, true), 0);
    EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), c.expect) << c.pattern.size();
  }
}

TEST(FindFilesTest, MatchingDirectoriesAreAlwaysSearchedWithNamesRunTogether) {
  TmpDir t;
  t.mkdir("tavn_d.log");
  t.write("tavn_d.log/tavn_e.log", "");
  t.write("tavn_d.logtavn_e.log", "");  // the path the nested search builds
  t.mkdir("\\");  // "dir/" + "\" leads back to "dir/": must not loop
  const std::string joined = t.path("tavn_d.logtavn_e.log");
  // "*.log" stops at the first ".log", so only the nested search finds it.
  const struct {
    const char* pattern;
    std::multiset<std::string> expect;
  } cases[] = {{"*.log", {joined}}, {"*", {joined, joined}}};
  for (const auto& c : cases) {
    Paths found;
    EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), c.pattern, found, false), 0);
    EXPECT_EQ(std::multiset<std::string>(found.begin(), found.end()), c.expect) << c.pattern;
  }
}

TEST(FindFilesTest, Failures) {
  TmpDir t;
  t.mkdir("sub.log");
  t.write("sub.log/x.log", "");  // nested path "sub.logx.log" does not exist
  t.write("plain", "");
  const struct {
    std::string dir;
    const char* pattern;
    int rc;
  } cases[] = {
      {t.path("missing/"), "*", ENOENT},
      {t.path("missing/"), nullptr, ENOENT},
      {t.path("plain"), "*", ENOTDIR},
      {t.path(), nullptr, 0},  // a null pattern finds nothing
      {t.path(), "*.log", -1},
  };
  for (const auto& c : cases) {
    Paths found;
    EXPECT_EQ(KAVRI_LOG::find_files(c.dir.c_str(), c.pattern, found, true), c.rc) << c.dir;
    EXPECT_TRUE(found.empty());
  }
  Paths found;
  EXPECT_EQ(KAVRI_LOG::find_files(nullptr, "*", found, true), EINVAL);
}

TEST(FindFilesTest, PathBufferLimit) {
  // Paths of up to kMaxPath - 1 characters are built; longer ones refused.
  TmpDir t;
  const std::size_t room = KAVRI_LOG::kMaxPath - 1 - t.path().size();
  ASSERT_TRUE(room > 10 && room < 255);
  t.write(std::string(room, 'f'), "");
  t.write(std::string(room + 1, 'g'), "");
  Paths found;
  EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "f*", found, true), 0);
  EXPECT_EQ(found, Paths{t.path(std::string(room, 'f'))});
  found.clear();
  errno = 0;
  EXPECT_EQ(KAVRI_LOG::find_files(t.path().c_str(), "g*", found, true), -1);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_TRUE(found.empty());
}

}  // namespace
