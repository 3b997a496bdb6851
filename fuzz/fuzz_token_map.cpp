// Word mapping.  Input: a word (up to the first line break) and a word list
// (the rest).  The word goes through both built-in tables, checked against
// their synonyms, and through a table made of the word list.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "log/token_map.h"

namespace {

using KAVRI_LOG::token_map;

void check(bool ok) {
  if (!ok) abort();
}

std::string lower(std::string s) {
  for (char& c : s) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return s;
}

const std::set<std::string> kLevelWords = {"low",    "warning", "normal", "medium", "info",
                                           "detail", "debug",   "all",    "full",   "none"};
const std::set<std::string> kStyleWords = {"short", "simple", "long", "normal",
                                           "all",   "full",   "none"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const void* nl = std::memchr(text, '\n', size);
  const size_t word_len = nl != nullptr ? static_cast<const char*>(nl) - text : size;
  const std::string word(text, word_len);
  const std::string list = nl != nullptr ? std::string(text + word_len + 1, size - word_len - 1)
                                         : std::string();

  const std::string folded = lower(word);
  int value = 12345;
  const int level_rc = KAVRI_LOG::get_maped_token(value, word, KAVRI_LOG::level_tokens);
  check((level_rc == 0) == (kLevelWords.count(folded) == 1));
  check(level_rc == 0 || value == 12345);

  value = 12345;
  const int style_rc = KAVRI_LOG::get_maped_token(value, word, KAVRI_LOG::style_tokens);
  check((style_rc == 0) == (kStyleWords.count(folded) == 1));
  check(style_rc == 0 ? (value == 0x3D || value == 0x7E || value == 0xFF || value == 0x100)
                      : value == 12345);

  const token_map<int> custom[] = {{1, list.c_str()}, {2, "x"}, {0, nullptr}};
  value = 12345;
  const int rc = KAVRI_LOG::get_maped_token(value, word, custom);
  check(rc == 0 ? (value == 1 || value == 2) : value == 12345);
  return 0;
}
