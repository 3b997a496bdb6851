// Blanks around attribute values and element contents: what markup values
// may carry around them and readers ignore.
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_BLANKS_H_
#define TAVN_ENGINES_SPEECH_MARKUP_BLANKS_H_

#include <string_view>

namespace tavn::speech::markup {

// The four blanks of XML: space, tab, line feed, carriage return.
inline bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// `s` without the blanks at either end.
inline std::string_view trim_blanks(std::string_view s) {
  while (!s.empty() && is_blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_blank(s.back())) s.remove_suffix(1);
  return s;
}

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_BLANKS_H_
