// Word tables: synonyms, case, separators, quotes and the first-entry rule.
#include <gtest/gtest.h>

#include <string>

#include "log/token_map.h"

namespace {

using KAVRI_LOG::token_map;

const token_map<int> kCustom[] = {
    {1, " Alpha ; 'b,c' ;; d "},
    {2, "alpha,e"},  // "alpha" again: the first entry wins
    {3, ""},
    {0, nullptr},
    {4, "after the end"},
};

struct TokenCase {
  const char* word;
  const token_map<int>* table;
  int rc;
  int value;  // expected value; 99 means unchanged
};

const TokenCase kTokens[] = {
    {"debug", KAVRI_LOG::level_tokens, 0, 63},
    {"DeBuG", KAVRI_LOG::level_tokens, 0, 63},
    {"warning", KAVRI_LOG::level_tokens, 0, 7},
    {"info", KAVRI_LOG::level_tokens, 0, 15},
    {"all", KAVRI_LOG::level_tokens, 0, -1},
    {"none", KAVRI_LOG::level_tokens, 0, 0},
    {"short", KAVRI_LOG::style_tokens, 0, 61},
    {"normal", KAVRI_LOG::style_tokens, 0, 126},
    {"FULL", KAVRI_LOG::style_tokens, 0, 255},
    {"none", KAVRI_LOG::style_tokens, 0, 256},
    {"normal", KAVRI_LOG::level_tokens, 0, 15},
    {" debug", KAVRI_LOG::level_tokens, -1, 99},  // the word is not trimmed
    {"deb", KAVRI_LOG::level_tokens, -1, 99},
    {"short,simple", KAVRI_LOG::style_tokens, -1, 99},
    {"63", KAVRI_LOG::level_tokens, -1, 99},
    {"", KAVRI_LOG::level_tokens, -1, 99},
    {"alpha", kCustom, 0, 1},
    {"'b,c'", kCustom, 0, 1},
    {"b", kCustom, -1, 99},
    {"d", kCustom, 0, 1},
    {"e", kCustom, 0, 2},
    {"after the end", kCustom, -1, 99},
    {"debug", nullptr, -1, 99},
};

TEST(CfgTokenTest, WordMapping) {
  for (const TokenCase& c : kTokens) {
    int value = 99;
    EXPECT_EQ(KAVRI_LOG::get_maped_token(value, c.word, c.table), c.rc) << "'" << c.word << "'";
    EXPECT_EQ(value, c.value) << "'" << c.word << "'";
  }
}

}  // namespace
