// The configuration reader: key lookup in a sectioned file, and filling a
// record from one section, level and style words included.
#include <gtest/gtest.h>

#include <climits>
#include <tuple>
#include <vector>

#include "log_test_util.h"

namespace {

using Strings = std::vector<std::string>;
const char kUnset[] = "<unset>";

TEST(CfgLookup, FileSyntax) {
  const std::string key400(400, 'k');
  const std::string long_line = "title = " + std::string(991, 'x') + "level = 9";  // 999 + 9 bytes
  // A null section is the reader's own, "logger"; kUnset: the value is left as it was.
  const struct {
    std::string file;
    const char* key;
    const char* section;
    std::string value;
  } cases[] = {
      {"[LOGGER]\nLEVEL = Debug\n", "level", nullptr, "Debug"},
      {"[ logger ]\nk = 1\n", "k", nullptr, kUnset},
      {"level = 5\n[logger]\n", "level", nullptr, kUnset},  // before any header ...
      {"level = 5\n[logger]\n", "level", "", "5"},          // ... is the empty section
      {"[logger]\n[]\nk = 1\n", "k", "", "1"},
      {"[logger]\nk = 1\n[other]\nk = 2\n", "k", "OTHER", "2"},
      {"[logger]\nfile = 'my=log.txt'\n", "file", nullptr, "'my=log.txt'"},
      {"[logger]\nfile = \"a=b\" = c\n", "file", nullptr, "\"a=b\""},  // a third piece is ignored
      {"[logger]\nfile = 'a=b\n", "file", nullptr, "'a=b"},
      {"[logger]\ntitle = a # b\n", "title", nullptr, "a # b"},
      {"[logger]\n# k = 1\n; k = 2\n  # k = 3\nk = 4\n", "k", nullptr, "4"},
      {"[logger]\ntitle =\ntitle = X\n", "title", nullptr, kUnset},  // the first match wins, even empty
      {"[logger]\r\n\tk\t=\t7 \x01\r\n", "k", nullptr, "7"},
      {"[logger]\nt = \xC3\xA9t\xA0\n", "t", nullptr, "\xC3\xA9t\xA0"},
      {"[logger]\nt = " + std::string(400, ' ') + "abc\n", "t", nullptr, kUnset},  // cut, then trimmed
      {"[logger]\nt = " + std::string(500, 'v') + "\n", "t", nullptr, std::string(399, 'v')},
      {"[logger]\n" + std::string(410, 'k') + " = 1\n" + key400 + " = 2\n", key400.c_str(), nullptr, "1"},
      {"[]\n" + long_line + "\n", "title", "", std::string(399, 'x')},
      {"[]\n" + long_line + "\n", "level", "", "9"},  // the rest of a long line is a line of its own
  };
  Temp_Dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "row " << &c - cases);
    Log_Cfg_Heap_Reg heap("logger", dir.write("t.cfg", c.file).c_str());
    std::string value = kUnset;
    EXPECT_EQ(heap.get_string_value(c.key, value, c.section), 0);
    EXPECT_EQ(value, c.value);
  }
  const std::string path = dir.write("t.cfg", "[logger]\nk = 1\n");
  const std::pair<const char*, const char*> failing[] = {
      {"/nonexistent/t.cfg", "k"}, {"", "k"}, {nullptr, "k"}, {path.c_str(), nullptr}};
  for (const auto& [file, key] : failing) {
    SCOPED_TRACE(testing::Message() << file << " " << key);
    Log_Cfg_Heap_Reg heap("logger", file);
    std::string value = kUnset;
    EXPECT_EQ(heap.get_string_value(key, value, nullptr), -1);
    EXPECT_EQ(value, kUnset);
  }
}

TEST(CfgRead, ExampleFile) {
  Temp_Dir dir;
  Test_Cfg cfg;
  cfg.overwrite_ = cfg.flush_always_ = true;  // both cleared by a read
  EXPECT_EQ(0, cfg.read_config("logger", dir.write("t.cfg",
                                                   "; comment\n[logger]\nlevel = debug\nstyle = short\n"
                                                   "maxsize = 100\ninclude = tts; audio\n")
                                             .c_str()));
  EXPECT_EQ(std::make_tuple(63, 63, 61, 40960u, false, false),
            std::make_tuple(cfg.level(), cfg.console_level(), cfg.style(), cfg.max_size(), cfg.overwrite(),
                            cfg.flush_always()));
  EXPECT_EQ(cfg.include, (Strings{"tts", "audio"}));
}

long long level(const Test_Cfg& c) { return c.level(); }
long long console(const Test_Cfg& c) { return c.console_level(); }
long long style(const Test_Cfg& c) { return c.style(); }
long long max_size(const Test_Cfg& c) { return c.max_size(); }
long long charset(const Test_Cfg& c) { return c.charset(); }
long long overwrite(const Test_Cfg& c) { return c.overwrite(); }
long long head(const Test_Cfg& c) { return c.has_head(); }

TEST(CfgRead, KeyRules) {
  // Records start with overwrite and charset 1 so "kept" and "false" differ.
  const struct {
    const char* lines;
    long long (*field)(const Test_Cfg&);
    long long value;
  } cases[] = {
      {"level = 0x3f", level, 63},
      {"level = 010", level, 8},
      {"level = 0", level, 0},
      {"level = bogus", level, 0},
      {"level = DeBuG", level, 63},
      {"level = warning", level, 7},
      {"level = all", level, -1},
      {"style = FULL", style, 255},
      {"level = 2\nconsole_level = 3", console, 3},
      {"console_level = info", console, 15},
      {"console_level = info", level, 7},
      {"style = 126", style, 126},
      {"style = long", style, 126},
      {"style = none", style, 256},
      {"style = bogus", style, 0},
      {"maxsize = -1", max_size, 0xFFFFFFFFLL},
      {"maxsize = 40959", max_size, 40960},
      {"maxsize = 40961", max_size, 40961},
      {"maxsize = 0xFFFFFFFF", max_size, 0x7FFFFFFF},  // saturates like a 32-bit long
      {"charset = 2", charset, 2},
      {"charset = 3", charset, 1},
      {"charset = -1", charset, 1},
      {"overwrite = 0x10", overwrite, 1},
      {"overwrite = yes", overwrite, 0},
      {"overwrite =", overwrite, 0},
      {"head = 0", head, 0},
  };
  Temp_Dir dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines);
    Test_Cfg cfg;
    cfg.overwrite_ = cfg.flush_always_ = true, cfg.charset_ = 1;
    cfg.read_config(nullptr, dir.write("t.cfg", std::string("[logger]\n") + c.lines + "\n").c_str());
    EXPECT_EQ(c.field(cfg), c.value) << c.lines;
  }
}

TEST(CfgRead, PlainFieldsSectionsAndLists) {
  Temp_Dir dir;
  const std::string path =
      dir.write("t.cfg",
                "[Other]\noutput = 9\n[logger]\noutput = 3\nsubjects = 0x5\nmaxcount = 07\nmode = 2\nflush = 1\n"
                "locale = C\ntitle = T\nfile = f.log\ninclude = a, 'b;c' ;; d\nexclude = x\n");
  Test_Cfg cfg;
  cfg.include = {"pre"};
  cfg.read_config(nullptr, path.c_str());
  EXPECT_EQ(std::make_tuple(cfg.output(), cfg.filter(), cfg.max_count(), cfg.mode(), cfg.flush_always()),
            std::make_tuple(3, 5, 7, 2, true));
  EXPECT_EQ(std::string(cfg.locale()) + cfg.title() + cfg.file_name(), "CTf.log");
  EXPECT_EQ(cfg.include, (Strings{"pre", "a", "'b;c'", "d"}));  // appended, never cleared
  cfg.read_config("OTHER", nullptr);                            // the same file, another section
  EXPECT_EQ(cfg.section, "OTHER");
  EXPECT_EQ(cfg.output(), 9);
  EXPECT_EQ(cfg.exclude, (Strings{"x"}));
}

TEST(CfgRead, MissingFileKeepsValuesButClearsFlagsAndRaisesSize) {
  Test_Cfg cfg;
  cfg.overwrite_ = cfg.flush_always_ = true, cfg.has_head_ = false;
  cfg.max_size_ = 100, cfg.level_ = 5, cfg.cfg_mtime = 1234;
  EXPECT_EQ(cfg.read_config("logger", "/nonexistent/tavn.cfg"), 0);
  EXPECT_FALSE(cfg.overwrite() || cfg.flush_always() || cfg.has_head());
  EXPECT_EQ(std::make_tuple(cfg.max_size(), cfg.level(), cfg.console_level(), cfg.cfg_mtime),
            std::make_tuple(40960u, 5, 7, 0));
}

// The file is opened under the name as given; the record keeps (and queries
// the time of) its normalised form.
TEST(CfgRead, RelativePathIsNormalisedInTheRecordOnly) {
  Temp_Dir dir;
  char cwd[PATH_MAX];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  dir.write("d\\x.cfg", "[logger]\nmode = 2\n");  // a backslash is part of a Linux name
  Test_Cfg cfg;
  cfg.read_config(nullptr, "d\\x.cfg");
  ASSERT_EQ(chdir(cwd), 0);
  EXPECT_EQ(std::make_tuple("d/x.cfg", 2, 0), std::make_tuple(cfg.cfg_file_, cfg.mode(), cfg.cfg_mtime));
}

}  // namespace
