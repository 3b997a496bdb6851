// Key lookup in configuration files: sections, comments, quotes, trimming,
// long lines and the first-match rule.
#include <gtest/gtest.h>

#include <string>

#include "log/log_cfg_heap.h"
#include "test_cfg_tmpdir.h"

namespace {

const char kUnset[] = "<unset>";

struct LookupCase {
  const char* name;
  std::string file;
  const char* key;
  const char* section;  // null: the object's own section, "logger"
  std::string expect;   // kUnset: value left as it was
};

const std::string kLongKeyLine = "title = " + std::string(991, 'x') + "level = 9";

const LookupCase kLookups[] = {
    {"plain", "[logger]\nlevel = debug\n", "level", nullptr, "debug"},
    {"case of key and section", "[LOGGER]\nLEVEL = Debug\n", "level", nullptr, "Debug"},
    {"key before any section is not in logger", "level = 5\n[logger]\n", "level", nullptr, kUnset},
    {"key before any section is in the empty one", "level = 5\n[logger]\n", "level", "", "5"},
    {"[] selects the empty section", "[logger]\n[]\nk = 1\n", "k", "", "1"},
    {"blanks inside brackets are kept", "[ logger ]\nk = 1\n", "k", nullptr, kUnset},
    {"explicit section", "[logger]\nk = 1\n[other]\nk = 2\n", "k", "OTHER", "2"},
    {"other section skipped", "[other]\nk = 1\n[logger]\nk = 2\n", "k", nullptr, "2"},
    {"quoted = does not split", "[logger]\nfile = 'my=log.txt'\n", "file", nullptr, "'my=log.txt'"},
    {"double quotes", "[logger]\nfile = \"a=b\" = c\n", "file", nullptr, "\"a=b\""},
    {"unclosed quote runs to the end", "[logger]\nfile = 'a=b\n", "file", nullptr, "'a=b"},
    {"third piece ignored", "[logger]\na = b = c\n", "a", nullptr, "b"},
    {"whole-line comments", "[logger]\n# k = 1\n; k = 2\n  # k = 3\nk = 4\n", "k", nullptr, "4"},
    {"# later in a line is text", "[logger]\ntitle = a # b\n", "title", nullptr, "a # b"},
    {"empty first value wins", "[logger]\ntitle =\ntitle = X\n", "title", nullptr, kUnset},
    {"line without = matches as a key", "[logger]\ntitle\ntitle = X\n", "title", nullptr, kUnset},
    {"duplicate key: first wins", "[logger]\nk = 1\nk = 2\n", "k", nullptr, "1"},
    {"missing key", "[logger]\nk = 1\n", "j", nullptr, kUnset},
    {"tabs and CR trimmed", "[logger]\r\n\tk\t=\t7 \r\n", "k", nullptr, "7"},
    {"high bytes are text", "[logger]\nt = \xC3\xA9t\xC3\xA9\xA0\n", "t", nullptr, "\xC3\xA9t\xC3\xA9\xA0"},
    {"value cut to 400 before trimming", "[logger]\nt = " + std::string(400, ' ') + "abc\n", "t",
     nullptr, kUnset},
    {"long value cut to 400", "[logger]\nt = " + std::string(500, 'v') + "\n", "t", nullptr,
     std::string(399, 'v')},
    {"line over 999 bytes: first read", "[]\n" + kLongKeyLine + "\n", "title", "",
     std::string(399, 'x')},
    {"line over 999 bytes: rest is a line", "[]\n" + kLongKeyLine + "\n", "level", "", "9"},
};

TEST(CfgHeapTest, LookupRules) {
  TmpDir dir;
  for (const LookupCase& c : kLookups) {
    SCOPED_TRACE(c.name);
    const std::string path = dir.write("t.cfg", c.file);
    Log_Cfg_Heap_Reg heap("logger", path.c_str());
    std::string value = kUnset;
    EXPECT_EQ(heap.get_string_value(c.key, value, c.section), 0);
    EXPECT_EQ(value, c.expect);
  }
}

TEST(CfgHeapTest, KeyOfExactly400IsFound) {
  // The key piece "kkk...k" (410) is cut to 400; a 400-character key then matches.
  TmpDir dir;
  const std::string key(400, 'k');
  const std::string path = dir.write("t.cfg", "[logger]\n" + std::string(410, 'k') + " = 1\n" +
                                                  key + " = 2\n");
  Log_Cfg_Heap_Reg heap("logger", path.c_str());
  std::string value;
  EXPECT_EQ(heap.get_string_value(key.c_str(), value, nullptr), 0);
  EXPECT_EQ(value, "1");
}

TEST(CfgHeapTest, FailuresReturnMinusOneAndKeepValue) {
  TmpDir dir;
  const std::string path = dir.write("t.cfg", "[logger]\nk = 1\n");
  struct {
    const char* file;
    const char* key;
  } cases[] = {{"/nonexistent/dir/t.cfg", "k"}, {"", "k"}, {path.c_str(), nullptr}};
  for (const auto& c : cases) {
    Log_Cfg_Heap_Reg heap("logger", c.file);
    std::string value = kUnset;
    EXPECT_EQ(heap.get_string_value(c.key, value, nullptr), -1) << c.file;
    EXPECT_EQ(value, kUnset);
  }
}

TEST(CfgHeapTest, EveryCallRereadsTheFile) {
  TmpDir dir;
  const std::string path = dir.write("t.cfg", "[logger]\nk = 1\n");
  Log_Cfg_Heap_Reg heap("logger", path.c_str());
  std::string value;
  heap.get_string_value("k", value, nullptr);
  dir.write("t.cfg", "[logger]\nk = 2\n");
  heap.get_string_value("k", value, nullptr);
  EXPECT_EQ(value, "2");
}

}  // namespace
