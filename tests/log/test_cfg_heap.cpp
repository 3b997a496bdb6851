// Key lookup in configuration files: sections, comments, quotes, trimming,
// long lines and the first-match rule.
#include <gtest/gtest.h>

#include <string>

#include "log/log_cfg_heap.h"
#include "test_cfg_tmpdir.h"

namespace {

const char kUnset[] = "<unset>";
const std::string kKey400(400, 'k');
const std::string kLongLine = "title = " + std::string(991, 'x') + "level = 9";  // 999 + 9

struct LookupCase {
  const char* name;
  std::string file;
  const char* key;
  const char* section;  // null: the object's own section, "logger"
  std::string expect;   // kUnset: value left as it was
};

const LookupCase kLookups[] = {
    {"case of key and section", "[LOGGER]\nLEVEL = Debug\n", "level", nullptr, "Debug"},
    {"key before any section", "level = 5\n[logger]\n", "level", nullptr, kUnset},
    {"...is in the empty section", "level = 5\n[logger]\n", "level", "", "5"},
    {"[] selects the empty section", "[logger]\n[]\nk = 1\n", "k", "", "1"},
    {"blanks inside brackets kept", "[ logger ]\nk = 1\n", "k", nullptr, kUnset},
    {"explicit section", "[logger]\nk = 1\n[other]\nk = 2\n", "k", "OTHER", "2"},
    {"quoted = does not split", "[logger]\nfile = 'my=log.txt'\n", "file", nullptr, "'my=log.txt'"},
    {"double quotes", "[logger]\nfile = \"a=b\" = c\n", "file", nullptr, "\"a=b\""},
    {"unclosed quote", "[logger]\nfile = 'a=b\n", "file", nullptr, "'a=b"},
    {"third piece ignored", "[logger]\na = b = c\n", "a", nullptr, "b"},
    {"whole-line comments", "[logger]\n# k = 1\n; k = 2\n  # k = 3\nk = 4\n", "k", nullptr, "4"},
    {"# inside a line is text", "[logger]\ntitle = a # b\n", "title", nullptr, "a # b"},
    {"empty first value wins", "[logger]\ntitle =\ntitle = X\n", "title", nullptr, kUnset},
    {"line without = is a key", "[logger]\ntitle\ntitle = X\n", "title", nullptr, kUnset},
    {"control bytes trimmed", "[logger]\r\n\tk\t=\t7 \x01\r\n", "k", nullptr, "7"},
    {"high bytes are text", "[logger]\nt = \xC3\xA9t\xA0\n", "t", nullptr, "\xC3\xA9t\xA0"},
    {"cut to 400 before trimming", "[logger]\nt = " + std::string(400, ' ') + "abc\n", "t",
     nullptr, kUnset},
    {"long value cut", "[logger]\nt = " + std::string(500, 'v') + "\n", "t", nullptr,
     std::string(399, 'v')},
    {"long key cut", "[logger]\n" + std::string(410, 'k') + " = 1\n" + kKey400 + " = 2\n",
     kKey400.c_str(), nullptr, "1"},
    {"line over 999 bytes", "[]\n" + kLongLine + "\n", "title", "", std::string(399, 'x')},
    {"...its rest is a line", "[]\n" + kLongLine + "\n", "level", "", "9"},
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

TEST(CfgHeapTest, FailuresReturnMinusOneAndKeepValue) {
  TmpDir dir;
  const std::string path = dir.write("t.cfg", "[logger]\nk = 1\n");
  const struct {
    const char* file;
    const char* key;
  } cases[] = {{"/nonexistent/t.cfg", "k"}, {"", "k"}, {nullptr, "k"}, {path.c_str(), nullptr}};
  for (const auto& c : cases) {
    Log_Cfg_Heap_Reg heap("logger", c.file);
    std::string value = kUnset;
    EXPECT_EQ(heap.get_string_value(c.key, value, nullptr), -1);
    EXPECT_EQ(value, kUnset);
  }
}

}  // namespace
