// Filling a configuration record from a file: key rules, word mapping,
// the size floor, the lists and the configuration path.
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <vector>

#include "log/log_cfg.h"
#include "test_cfg_tmpdir.h"

namespace {

using Cfg = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;
using Strings = std::vector<std::string>;

TEST(CfgReadTest, Example) {
  TmpDir dir;
  const std::string path = dir.write(
      "t.cfg",
      "; comment\n[logger]\nlevel = debug\nstyle = short\nmaxsize = 100\ninclude = tts; audio\n");
  Cfg cfg;
  cfg.overwrite_ = cfg.flush_always_ = true;
  EXPECT_EQ(cfg.read_config("logger", path.c_str()), 0);
  EXPECT_EQ(cfg.level(), 63);
  EXPECT_EQ(cfg.console_level(), 63);
  EXPECT_EQ(cfg.style(), 61);
  EXPECT_EQ(cfg.max_size(), 40960u);
  EXPECT_EQ(cfg.include, (Strings{"tts", "audio"}));
  EXPECT_FALSE(cfg.overwrite() || cfg.flush_always());
}

long long level(const Cfg& c) { return c.level(); }
long long console(const Cfg& c) { return c.console_level(); }
long long style(const Cfg& c) { return c.style(); }
long long max_size(const Cfg& c) { return c.max_size(); }
long long charset(const Cfg& c) { return c.charset(); }
long long overwrite(const Cfg& c) { return c.overwrite(); }
long long head(const Cfg& c) { return c.has_head(); }

TEST(CfgReadTest, KeyRules) {
  // Each file starts from a record with overwrite, flush and charset 1 set,
  // so "keeps its value" and "becomes false" can be told apart.
  const struct {
    const char* lines;  // body of the [logger] section
    long long (*field)(const Cfg&);
    long long expect;
  } cases[] = {
      {"level = 0x3f", level, 63},          {"level = 010", level, 8},
      {"level = 0", level, 0},              {"level = none", level, 0},
      {"level = bogus", level, 0},          {"level = debug", console, 63},
      {"level = 2\nconsole_level = 3", console, 3},
      {"console_level = info", console, 15}, {"console_level = info", level, 7},
      {"style = 126", style, 126},          {"style = long", style, 126},
      {"style = none", style, 256},         {"style = bogus", style, 0},
      {"maxsize = -1", max_size, 0xFFFFFFFFLL},
      {"maxsize = 40959", max_size, 40960}, {"maxsize = 40961", max_size, 40961},
      {"maxsize = 0xFFFFFFFF", max_size, 0x7FFFFFFF},  // saturates like a 32-bit long
      {"charset = 2", charset, 2},          {"charset = 3", charset, 1},
      {"charset = -1", charset, 1},         {"overwrite = 0x10", overwrite, 1},
      {"overwrite = yes", overwrite, 0},    {"overwrite =", overwrite, 0},
      {"head = 0", head, 0},
  };
  TmpDir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines);
    const std::string path = dir.write("t.cfg", std::string("[logger]\n") + c.lines + "\n");
    Cfg cfg;
    cfg.overwrite_ = cfg.flush_always_ = true;
    cfg.charset_ = 1;
    cfg.read_config(nullptr, path.c_str());
    EXPECT_EQ(c.field(cfg), c.expect);
  }
}

TEST(CfgReadTest, PlainFieldsAndSections) {
  TmpDir dir;
  const std::string path = dir.write(
      "t.cfg", "[Other]\noutput = 9\n[logger]\noutput = 3\nsubjects = 0x5\nmaxcount = 07\n"
               "mode = 2\nflush = 1\nlocale = C\ntitle =\ntitle = X\nfile = 'my=log.txt'\n");
  Cfg cfg;
  cfg.read_config(nullptr, path.c_str());
  EXPECT_EQ(cfg.output(), 3);
  EXPECT_EQ(cfg.filter(), 5);
  EXPECT_EQ(cfg.max_count(), 7);
  EXPECT_EQ(cfg.mode(), 2);
  EXPECT_TRUE(cfg.flush_always());
  EXPECT_STREQ(cfg.locale(), "C");
  EXPECT_STREQ(cfg.title(), "Running Information");
  EXPECT_STREQ(cfg.file_name(), "'my=log.txt'");
  cfg.read_config("OTHER", nullptr);  // same file, another section
  EXPECT_EQ(cfg.section, "OTHER");
  EXPECT_EQ(cfg.output(), 9);
}

TEST(CfgReadTest, MissingFileKeepsValuesButClearsFlagsAndRaisesSize) {
  Cfg cfg;
  cfg.overwrite_ = cfg.flush_always_ = true;
  cfg.has_head_ = false;
  cfg.max_size_ = 100;
  cfg.level_ = 5;
  cfg.cfg_mtime = 1234;
  EXPECT_EQ(cfg.read_config("logger", "/nonexistent/tavn.cfg"), 0);
  EXPECT_FALSE(cfg.overwrite() || cfg.flush_always() || cfg.has_head());
  EXPECT_EQ(cfg.max_size(), 40960u);
  EXPECT_EQ(cfg.level(), 5);
  EXPECT_EQ(cfg.console_level(), 7);
  EXPECT_EQ(cfg.cfg_mtime, 0);
}

TEST(CfgReadTest, ListsAreAppendedNeverCleared) {
  TmpDir dir;
  const std::string path = dir.write("t.cfg", "[logger]\ninclude = a, 'b;c' ;; d\nexclude = x\n");
  Cfg cfg;
  cfg.include = {"pre"};
  cfg.read_config(nullptr, path.c_str());
  EXPECT_EQ(cfg.include, (Strings{"pre", "a", "'b;c'", "d"}));
  cfg.read_config(nullptr, nullptr);
  EXPECT_EQ(cfg.exclude, (Strings{"x", "x"}));
}

TEST(CfgReadTest, RelativePathIsNormalisedInTheRecordOnly) {
  TmpDir dir;
  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  dir.mkdir("sub");
  dir.write("sub/x.cfg", "[logger]\nmode = 1\n");
  dir.write("d\\x.cfg", "[logger]\nmode = 2\n");  // a backslash is part of a Linux name
  const std::string abs = dir.path("sub//x.cfg");
  const std::string long_rel = std::string(130, 'a') + "//" + std::string(130, 'b');
  const struct {
    std::string given, stored;
    int mode;        // read from the file opened under the given text
    bool has_mtime;  // the stored path is the one queried
  } cases[] = {
      {"sub//x.cfg", "sub/x.cfg", 1, true},
      {"d\\x.cfg", "d/x.cfg", 2, false},
      {abs, abs, 1, true},             // absolute: left alone
      {long_rel, long_rel, 0, false},  // over 260 characters: left alone
  };
  for (const auto& c : cases) {
    Cfg cfg;
    cfg.read_config(nullptr, c.given.c_str());
    EXPECT_EQ(cfg.cfg_file_, c.stored);
    EXPECT_EQ(cfg.mode(), c.mode) << c.given;
    EXPECT_EQ(cfg.cfg_mtime != 0, c.has_mtime) << c.given;
  }
  ASSERT_EQ(chdir(cwd), 0);
}

}  // namespace
