// The wildcard matcher: literal, "?" and "*" rules, first occurrence only,
// case sensitivity, and the pattern left as it was.
#include <gtest/gtest.h>

#include <string>

#include "log/match_string.h"

namespace {

TEST(MatchStringTest, Rules) {
  const struct {
    const char* pattern;
    const char* text;
    bool match;
  } cases[] = {
      {"", "", true},          {"", "a", false},         {"abc", "abc", true},
      {"abc", "abcd", false},  {"abcd", "abc", false},   {"ABC", "abc", false},
      {"a?c", "abc", true},    {"a?c", "ac", false},     {"ab?", "ab", false},  // "?" at the end
      {"?", "", false},        {"*", "", true},          {"a*", "a", true},
      {"*c", "abc", true},     {"*c", "abcc", false},    {"**a", "xa", true},
      {"*?", "x", true},       {"*?", "xy", false},      {"a*b?c", "abZc", true},
      {"a*?b", "aXb", true},   {"a*?b", "aXYb", false},  {"*.log", "a.log", true},
      {"*ab?d", "abxabcd", false},  // first occurrence only, no backtracking
      {"*ab?d", "abcd", true},
      {"*.log", "a.log.log", false},
      {"tavn_*.log", "tavn_2026-11-15_12-00-00.log", true},
      {"tavn_*.log", "TAVN_x.log", false},
      {"tavn_*.log", "tavn_x.txt", false},
  };
  for (const auto& c : cases) {
    std::string pattern(c.pattern);
    EXPECT_EQ(KAVRI_LOG::match_string_i(&pattern[0], c.text), c.match)
        << "'" << c.pattern << "' vs '" << c.text << "'";
    EXPECT_EQ(pattern, c.pattern) << "pattern not restored";
  }
  char star[] = "*";
  EXPECT_FALSE(KAVRI_LOG::match_string_i(nullptr, "a"));
  EXPECT_FALSE(KAVRI_LOG::match_string_i(star, nullptr));
}

}  // namespace
