#include "log/token_map.h"

#include <vector>

#include "log/log_cfg_text.h"

namespace KAVRI_LOG {

const token_map<int> style_tokens[] = {
    {0x3D, "short,simple"}, {0x7E, "long,normal"}, {0xFF, "all,full"},
    {0x100, "none"},        {0, nullptr},
};

const token_map<int> level_tokens[] = {
    {7, "low,warning"},   {15, "normal,medium,info"},
    {63, "detail,debug"}, {-1, "all,full"},
    {0, "none"},          {0, nullptr},
};

template <typename T>
int get_maped_token(T& value, const std::string& word, const token_map<T>* table) {
  if (table == nullptr) return -1;
  std::string folded(word);  // folded but deliberately not trimmed
  fold_ascii_lower(folded);
  std::vector<std::string> items;
  for (const token_map<T>* entry = table; entry->words != nullptr; ++entry) {
    std::string words(entry->words);
    fold_ascii_lower(words);
    items.clear();
    split_quoted(words, ",;", false, items);
    for (const std::string& item : items) {
      if (item == folded) {
        value = entry->value;
        return 0;
      }
    }
  }
  return -1;
}

template int get_maped_token<int>(int&, const std::string&, const token_map<int>*);

}  // namespace KAVRI_LOG
