// Absolute-path test and the two separator normalisers, which agree on
// every text.
#include <gtest/gtest.h>

#include <string>

#include "log/path_norm.h"

namespace {

struct NormCase {
  const char* in;
  const char* out;
};

const NormCase kNorms[] = {
    {"", ""},
    {"a", "a"},
    {"a/b", "a/b"},
    {"a//b", "a/b"},
    {"a\\\\b", "a/b"},
    {"a\\b", "a/b"},
    {"logs\\\\run.log", "logs/run.log"},
    {"sub\\x.log", "sub/x.log"},
    {"./tavn.log", "./tavn.log"},
    {"a/\\/b//", "a/b/"},
    {"//x", "/x"},
    {"\\\\srv\\x", "\\\\srv/x"},      // leading pair kept without a run
    {"\\\\srv\\\\x", "srv/x"},        // a run drops the leading pair
    {"\\\\srv//x/", "srv/x/"},
    {"\\\\\\x", "\\\\/x"},            // a single separator after the pair is no run
    {"\\\\", "\\\\"},
    {"\\", "/"},
};

TEST(PathNormTest, BothNormalisersAgree) {
  for (const NormCase& c : kNorms) {
    std::string s(c.in);
    KAVRI_LOG::normalize_path(s);
    EXPECT_EQ(s, c.out) << "normalize_path(" << c.in << ")";

    char buf[KAVRI_LOG::kMaxPath];
    snprintf(buf, sizeof buf, "%s", c.in);
    KAVRI_LOG::normalize_separators(buf);
    EXPECT_STREQ(buf, c.out) << "normalize_separators(" << c.in << ")";
  }
  KAVRI_LOG::normalize_separators(nullptr);  // no effect, no crash
}

TEST(PathNormTest, AbsoluteNames) {
  const struct {
    const char* path;
    bool absolute;
  } cases[] = {{"/var/x.log", true}, {"\\\\srv\\x", true}, {"C:x.log", true},
               {"a:b/c", true},      {"./x", false},       {"x.log", false},
               {"\\x", false},       {"", false},          {nullptr, false}};
  for (const auto& c : cases) {
    EXPECT_EQ(KAVRI_LOG::is_absolute_path(c.path), c.absolute) << (c.path ? c.path : "null");
  }
}

TEST(PathNormTest, ResolveRelative) {
  const std::string at_limit = std::string(257, 'a') + "//b";  // 260 characters
  const std::string over = std::string(258, 'a') + "//b";      // 261 characters
  const struct {
    std::string in;
    std::string out;
  } cases[] = {
      {"logs\\\\run.log", "logs/run.log"},
      {"/var//x.log", "/var//x.log"},
      {"C:\\\\x.log", "C:\\\\x.log"},
      {"\\\\srv\\\\x", "\\\\srv\\\\x"},
      {at_limit, std::string(257, 'a') + "/b"},
      {over, over},
  };
  for (const auto& c : cases) {
    std::string s = c.in;
    KAVRI_LOG::resolve_relative_path(s);
    EXPECT_EQ(s, c.out) << c.in;
  }
}

}  // namespace
