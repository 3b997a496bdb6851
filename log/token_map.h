// Word tables for configuration values: an entry pairs a value with a list
// of synonyms ("short,simple"); an entry whose word list is null ends a
// table.
#ifndef TAVN_LOG_TOKEN_MAP_H_
#define TAVN_LOG_TOKEN_MAP_H_

#include <string>

namespace KAVRI_LOG {

template <typename T>
struct token_map {
  T value;
  const char* words;  // synonyms separated by "," or ";"; null ends the table
};

// Words of the key "style".  256 ("none") stands above the eight style bits
// on purpose: it is a bit of its own, not an empty mask.
extern const token_map<int> style_tokens[];
// Words of the keys "level" and "console_level".
extern const token_map<int> level_tokens[];

// Looks `word` up in `table`, ignoring ASCII case (the word is not trimmed).
// Returns 0 and stores the first matching entry's value, or returns -1 and
// leaves `value` unchanged.
template <typename T>
int get_maped_token(T& value, const std::string& word, const token_map<T>* table);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_TOKEN_MAP_H_
