// The wildcard matcher: literal, "?" and "*" rules, first occurrence only,
// case sensitivity, and the pattern left as it was.
#include <gtest/gtest.h>

#include <string>

#include "log/match_string.h"

namespace {

struct MatchCase {
  const char* pattern;
  const char* text;
  bool match;
};

const MatchCase kMatches[] = {
    {"", "", true},
    {"", "a", false},
    {"abc", "abc", true},
    {"abc", "abcd", false},
    {"abcd", "abc", false},
    {"ABC", "abc", false},  // case-sensitive despite the name
    {"a?c", "abc", true},
    {"a?c", "ac", false},
    {"ab?", "ab", false},  // "?" at the end of the text is no match
    {"?", "", false},
    {"*", "", true},
    {"*", "anything", true},
    {"a*", "a", true},
    {"*c", "abc", true},
    {"*c", "abcc", false},  // first "c" only
    {"tavn_*.log", "tavn_2026-11-15_12-00-00.log", true},
    {"tavn_*.log", "tavn_.log", true},
    {"tavn_*.log", "tavn_x.txt", false},
    {"tavn_*.log", "TAVN_x.log", false},
    {"*ab?d", "abxabcd", false},  // no backtracking
    {"*ab?d", "abcd", true},
    {"*.log", "a.log.log", false},
    {"*.log", "a.log", true},
    {"**a", "xa", true},
    {"*?", "x", true},
    {"*?", "", false},
    {"*?", "xy", false},
    {"a*b*c", "aXbYc", true},
    {"a*b?c", "abZc", true},
    {"a*?b", "aXb", true},
    {"a*?b", "aXYb", false},  // the empty segment is found at once, "?" takes "X", "b" != "Y"
    {"\xE9*", "\xE9t\xE9", true},
};

TEST(MatchStringTest, Rules) {
  for (const MatchCase& c : kMatches) {
    std::string pattern(c.pattern);
    EXPECT_EQ(KAVRI_LOG::match_string_i(&pattern[0], c.text), c.match)
        << "'" << c.pattern << "' vs '" << c.text << "'";
    EXPECT_EQ(pattern, c.pattern) << "pattern not restored";
  }
}

TEST(MatchStringTest, NullIsNoMatch) {
  char pattern[] = "*";
  EXPECT_FALSE(KAVRI_LOG::match_string_i(nullptr, "a"));
  EXPECT_FALSE(KAVRI_LOG::match_string_i(pattern, nullptr));
}

}  // namespace
