// Absolute-path test and the two separator normalisers, which agree on
// every text.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "log/path_norm.h"

namespace {

TEST(PathNormTest, BothNormalisersAgree) {
  const struct {
    const char* in;
    const char* out;
  } cases[] = {
      {"", ""},
      {"a//b", "a/b"},
      {"logs\\\\run.log", "logs/run.log"},
      {"sub\\x.log", "sub/x.log"},
      {"./tavn.log", "./tavn.log"},
      {"a/\\/b//", "a/b/"},
      {"//x", "/x"},
      {"\\\\srv\\x", "\\\\srv/x"},  // leading pair kept without a run
      {"\\\\srv\\\\x", "srv/x"},    // a run drops the leading pair
      {"\\\\\\x", "\\\\/x"},        // one separator after the pair is no run
      {"\\", "/"},
  };
  for (const auto& c : cases) {
    std::string s(c.in);
    KAVRI_LOG::normalize_path(s);
    EXPECT_EQ(s, c.out) << c.in;
    char buf[KAVRI_LOG::kMaxPath];
    std::snprintf(buf, sizeof buf, "%s", c.in);
    KAVRI_LOG::normalize_separators(buf);
    EXPECT_STREQ(buf, c.out) << c.in;
  }
  KAVRI_LOG::normalize_separators(nullptr);  // no effect, no crash
}

TEST(PathNormTest, AbsoluteAndRelativeNames) {
  const std::string at_limit = std::string(257, 'a') + "//b";  // 260 characters
  const std::string over = std::string(258, 'a') + "//b";      // 261 characters
  const struct {
    std::string in;
    bool absolute;
    std::string resolved;
  } cases[] = {
      {"/var//x.log", true, "/var//x.log"},
      {"\\\\srv\\\\x", true, "\\\\srv\\\\x"},
      {"C:\\\\x.log", true, "C:\\\\x.log"},
      {"logs\\\\run.log", false, "logs/run.log"},
      {"\\x", false, "/x"},
      {at_limit, false, std::string(257, 'a') + "/b"},
      {over, false, over},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(KAVRI_LOG::is_absolute_path(c.in.c_str()), c.absolute) << c.in;
    std::string s = c.in;
    KAVRI_LOG::resolve_relative_path(s);
    EXPECT_EQ(s, c.resolved) << c.in;
  }
  EXPECT_FALSE(KAVRI_LOG::is_absolute_path(nullptr));
}

}  // namespace
