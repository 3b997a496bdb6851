// The wildcard matcher of the backup search (match_string_i).
#include <gtest/gtest.h>

#include <string>

#include "log/match_string.h"

namespace {

// Exact and case-sensitive; each "*" takes only the first occurrence of the
// text after it, without backtracking.
TEST(MatchString, Rules) {
  const struct {
    const char *pattern, *text;
    bool match;
  } cases[] = {
      {"", "", true},
      {"", "a", false},
      {"abc", "abc", true},
      {"abc", "abcd", false},
      {"abcd", "abc", false},
      {"ABC", "abc", false},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"ab?", "ab", false},
      {"?", "", false},
      {"*", "", true},
      {"a*", "a", true},
      {"*c", "abc", true},
      {"*c", "abcc", false},
      {"**a", "xa", true},
      {"*?", "x", true},
      {"*?", "xy", false},
      {"a*b?c", "abZc", true},
      {"a*?b", "aXb", true},
      {"a*?b", "aXYb", false},
      {"*.log", "a.log", true},
      {"*.log", "a.log.log", false},
      {"*ab?d", "abxabcd", false},
      {"*ab?d", "abcd", true},
      {"tavn_*.log", "tavn_2026-11-15_12-00-00.log", true},
      {"tavn_*.log", "TAVN_x.log", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.pattern << " vs " << c.text);
    std::string pattern(c.pattern);
    EXPECT_EQ(KAVRI_LOG::match_string_i(&pattern[0], c.text), c.match) << c.pattern << " vs " << c.text;
    EXPECT_EQ(pattern, c.pattern) << "pattern not restored";
  }
  char star[] = "*";
  EXPECT_FALSE(KAVRI_LOG::match_string_i(nullptr, "a") || KAVRI_LOG::match_string_i(star, nullptr));
}

}  // namespace
