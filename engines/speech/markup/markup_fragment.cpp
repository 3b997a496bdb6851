#include "engines/speech/markup/markup_fragment.h"

#include <new>
#include <string>

#include "engines/speech/engine_codes.h"

namespace tavn::speech::markup {
namespace {

constexpr std::string_view kOpen = "<speak>", kClose = "</speak>";

// An offset in the wrapped text as an offset in `size` bytes of fragment.
size_t unwrapped(size_t at, size_t size) {
  at = at < kOpen.size() ? 0 : at - kOpen.size();
  return at < size ? at : size;
}

}  // namespace

uint32_t read_markup_or_fragment(std::string_view text, std::string_view language,
                                 MarkupDocument* out, MarkupError* error) {
  if (looks_like_markup(text)) return read_markup(text, language, out, error);
  std::string wrapped;
  try {
    wrapped.reserve(kOpen.size() + text.size() + kClose.size());
    wrapped.append(kOpen).append(text).append(kClose);
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  const uint32_t r = read_markup(wrapped, language, out, error);
  if (r != 0) {
    if (error != nullptr && error->line == 1)
      error->column = error->column > kOpen.size() ? error->column - kOpen.size() : 1;
    return r;
  }
  for (MarkupSentence& s : out->sentences) {
    s.begin = unwrapped(s.begin, text.size());
    s.end = unwrapped(s.end, text.size());
    for (Segment& g : s.segments) {
      g.begin = unwrapped(g.begin, text.size());
      g.end = unwrapped(g.end, text.size());
    }
  }
  return 0;
}

std::string markup_error_place(std::string_view text, std::string_view language) {
  try {
    MarkupDocument doc;
    MarkupError error;
    if (read_markup_or_fragment(text, language, &doc, &error) != ENGINE_ERR_BAD_MARKUP) return {};
    return "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
           ": " + error.reason;
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace tavn::speech::markup
