// Names and housekeeping of rotation's dated backups (log_backup).
#include <gtest/gtest.h>

#include "log/log_backup.h"
#include "log/log_os.h"
#include "log_test_util.h"

namespace {

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

}  // namespace
