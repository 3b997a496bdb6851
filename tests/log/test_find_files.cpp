// The directory search of log rotation (find_files).
#include <gtest/gtest.h>

#include <cerrno>
#include <list>
#include <set>

#include "log/find_files.h"
#include "log/log_os.h"
#include "tests/support/test_support.h"

namespace {

using Paths = std::multiset<std::string>;

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
