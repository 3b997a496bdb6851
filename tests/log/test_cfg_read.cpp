// Filling a configuration record from a file: key rules, word mapping,
// the size floor, the lists and the configuration path.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <functional>
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
  EXPECT_FALSE(cfg.overwrite());
  EXPECT_FALSE(cfg.flush_always());
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(cfg.cfg_mtime, static_cast<int32_t>(st.st_mtime));
}

struct KeyCase {
  const char* lines;  // body of the [logger] section
  std::function<long long(const Cfg&)> field;
  long long expect;
};

long long level(const Cfg& c) { return c.level(); }
long long console(const Cfg& c) { return c.console_level(); }
long long style(const Cfg& c) { return c.style(); }
long long max_size(const Cfg& c) { return c.max_size(); }
long long charset(const Cfg& c) { return c.charset(); }
long long overwrite(const Cfg& c) { return c.overwrite(); }
long long flush(const Cfg& c) { return c.flush_always(); }
long long head(const Cfg& c) { return c.has_head(); }

// Each case starts from a default record with overwrite, flush and charset
// set, so "keeps its value" and "becomes false" can be told apart.
const KeyCase kKeys[] = {
    {"LEVEL = Debug", level, 63},
    {"level = 0x3f", level, 63},
    {"level = 010", level, 8},
    {"level = 0", level, 0},
    {"level = none", level, 0},
    {"level = bogus", level, 0},
    {"level = 12abc", level, 12},
    {"level = 1\nlevel = 2", level, 1},
    {"level = debug", console, 63},
    {"level = debug\nconsole_level = 3", console, 3},
    {"console_level = info", console, 15},
    {"console_level = info", level, 7},
    {"console_level = 0", console, 0},
    {"style = 126", style, 126},
    {"style = long", style, 126},
    {"style = none", style, 256},
    {"style = bogus", style, 0},
    {"style = 5 short", style, 5},
    {"maxsize = -1", max_size, 0xFFFFFFFFLL},
    {"maxsize = 1000", max_size, 40960},
    {"maxsize = 40959", max_size, 40960},
    {"maxsize = 40961", max_size, 40961},
    {"maxsize = 0x7fffffff", max_size, 0x7FFFFFFF},
    {"maxsize = 0xFFFFFFFF", max_size, 0x7FFFFFFF},  // saturates as a 32-bit long does
    {"charset = 2", charset, 2},
    {"charset = 3", charset, 1},
    {"charset = -1", charset, 1},
    {"overwrite = 1", overwrite, 1},
    {"overwrite = yes", overwrite, 0},
    {"overwrite =", overwrite, 0},
    {"flush = 0x10", flush, 1},
    {"head = 0", head, 0},
    {"head = 2", head, 1},
    {"unknown = 5", head, 1},
};

TEST(CfgReadTest, KeyRules) {
  TmpDir dir;
  for (const KeyCase& c : kKeys) {
    SCOPED_TRACE(c.lines);
    const std::string path = dir.write("t.cfg", std::string("[logger]\n") + c.lines + "\n");
    Cfg cfg;
    cfg.overwrite_ = cfg.flush_always_ = true;
    cfg.charset_ = 1;
    cfg.read_config(nullptr, path.c_str());
    EXPECT_EQ(c.field(cfg), c.expect);
  }
}

TEST(CfgReadTest, PlainFields) {
  TmpDir dir;
  const std::string path = dir.write(
      "t.cfg",
      "[Other]\noutput = 9\n[logger]\noutput = 3\nsubjects = 0x5\nmaxcount = 07\nmode = 2\n"
      "locale = C\ntitle =\ntitle = X\nfile = 'my=log.txt'\n");
  Cfg cfg;
  cfg.read_config(nullptr, path.c_str());
  EXPECT_EQ(cfg.output(), 3);
  EXPECT_EQ(cfg.filter(), 5);
  EXPECT_EQ(cfg.max_count(), 7);
  EXPECT_EQ(cfg.mode(), 2);
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
  cfg.max_size_ = 100;
  cfg.level_ = 5;
  cfg.has_head_ = false;
  cfg.cfg_mtime = 1234;
  EXPECT_EQ(cfg.read_config("logger", "/nonexistent/tavn.cfg"), 0);
  EXPECT_FALSE(cfg.overwrite());
  EXPECT_FALSE(cfg.flush_always());
  EXPECT_EQ(cfg.max_size(), 40960u);
  EXPECT_EQ(cfg.level(), 5);
  EXPECT_EQ(cfg.console_level(), 7);
  EXPECT_FALSE(cfg.has_head());
  EXPECT_EQ(cfg.cfg_mtime, 0);
  EXPECT_STREQ(cfg.cfg_file(), "/nonexistent/tavn.cfg");
}

TEST(CfgReadTest, ListsAreAppendedNeverCleared) {
  TmpDir dir;
  const std::string path =
      dir.write("t.cfg", "[logger]\ninclude = a, 'b;c' ;; d\nexclude = x\n");
  Cfg cfg;
  cfg.include = {"pre"};
  cfg.read_config(nullptr, path.c_str());
  EXPECT_EQ(cfg.include, (Strings{"pre", "a", "'b;c'", "d"}));
  EXPECT_EQ(cfg.exclude, (Strings{"x"}));
  cfg.read_config(nullptr, nullptr);
  EXPECT_EQ(cfg.exclude, (Strings{"x", "x"}));
}

// Relative configuration paths are normalised in the record while the file
// is opened under the text given.
class CfgPathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(getcwd(cwd_, sizeof cwd_), nullptr);
    ASSERT_EQ(chdir(dir_.path().c_str()), 0);
  }
  void TearDown() override { ASSERT_EQ(chdir(cwd_), 0); }
  TmpDir dir_;
  char cwd_[PATH_MAX];
};

TEST_F(CfgPathTest, ConfigurationPath) {
  dir_.mkdir("sub");
  dir_.write("sub/x.cfg", "[logger]\nmode = 1\n");
  dir_.write("d\\x.cfg", "[logger]\nmode = 2\n");  // a backslash is part of a Linux name
  const std::string abs = dir_.path("sub//x.cfg");
  const std::string long_rel = std::string(130, 'a') + "//" + std::string(130, 'b');
  struct {
    std::string given;
    std::string stored;
    int mode;         // read from the file opened under the given text
    bool has_mtime;   // the stored path is queried
  } cases[] = {
      {"sub//x.cfg", "sub/x.cfg", 1, true},
      {"d\\x.cfg", "d/x.cfg", 2, false},
      {abs, abs, 1, true},                    // absolute: left alone
      {long_rel, long_rel, 0, false},         // over 260 characters: left alone
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.given);
    Cfg cfg;
    cfg.read_config(nullptr, c.given.c_str());
    EXPECT_EQ(cfg.cfg_file_, c.stored);
    EXPECT_EQ(cfg.mode(), c.mode);
    EXPECT_EQ(cfg.cfg_mtime != 0, c.has_mtime);
  }
}

}  // namespace
