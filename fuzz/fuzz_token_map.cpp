// Word mapping.  Input: a word (up to the first line break) and a word list
// (the rest).  The word goes through both built-in tables, checked against
// their synonyms, and through a table made of the word list.
#include <set>

#include "fuzz/fuzz_tmp.h"
#include "log/log_cfg_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::set<std::string> level_words = {"low",  "warning", "normal", "medium",
                                                    "info", "detail",  "debug",  "all",
                                                    "full", "none"},
                                     style_words = {"short", "simple", "long", "normal",
                                                    "all",   "full",   "none"};
  const auto [word, list] = split_input(data, size);
  std::string folded = word;
  for (char& c : folded) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;

  int value = 12345;
  const int level_rc = KAVRI_LOG::get_maped_token(value, word, KAVRI_LOG::level_tokens);
  check((level_rc == 0) == (level_words.count(folded) == 1) && (level_rc == 0 || value == 12345));
  value = 12345;
  const int style_rc = KAVRI_LOG::get_maped_token(value, word, KAVRI_LOG::style_tokens);
  check((style_rc == 0) == (style_words.count(folded) == 1));
  check(style_rc == 0 ? (value == 0x3D || value == 0x7E || value == 0xFF || value == 0x100)
                      : value == 12345);

  const KAVRI_LOG::token_map<int> custom[] = {{1, list.c_str()}, {2, "x"}, {0, nullptr}};
  value = 12345;
  const int rc = KAVRI_LOG::get_maped_token(value, word, custom);
  check(rc == 0 ? (value == 1 || value == 2) : value == 12345);
  return 0;
}
