// Word tables: synonyms, case, separators, quotes and the first-entry rule.
#include <gtest/gtest.h>

#include <string>

#include "log/token_map.h"

namespace {

using KAVRI_LOG::level_tokens;
using KAVRI_LOG::style_tokens;

const KAVRI_LOG::token_map<int> kCustom[] = {
    {1, " Alpha ; 'b,c' ;; d "}, {2, "alpha,e"}, {0, nullptr}, {4, "past the end"}};

TEST(CfgTokenTest, WordMapping) {
  const struct {
    const char* word;
    const KAVRI_LOG::token_map<int>* table;
    int value;  // 99: no match (-1 returned, value unchanged)
  } cases[] = {
      {"DeBuG", level_tokens, 63}, {"warning", level_tokens, 7}, {"info", level_tokens, 15},
      {"all", level_tokens, -1},   {"none", level_tokens, 0},    {"normal", style_tokens, 126},
      {"none", style_tokens, 256}, {"FULL", style_tokens, 255},  {"short", style_tokens, 61},
      {" debug", level_tokens, 99},  // the word is not trimmed
      {"63", level_tokens, 99},      {"", level_tokens, 99},      {"short,simple", style_tokens, 99},
      {"alpha", kCustom, 1},         {"'b,c'", kCustom, 1},       {"b", kCustom, 99},
      {"e", kCustom, 2},             {"past the end", kCustom, 99}, {"debug", nullptr, 99},
  };
  for (const auto& c : cases) {
    int value = 99;
    EXPECT_EQ(KAVRI_LOG::get_maped_token(value, c.word, c.table), c.value == 99 ? -1 : 0)
        << "'" << c.word << "'";
    EXPECT_EQ(value, c.value) << "'" << c.word << "'";
  }
}

}  // namespace
