// Sentence splitter.  Input: one byte choosing the longest sentence (255:
// the engine's own limit), then the text.  Walks the text sentence by
// sentence as a connection does and checks that the sentences come in
// order, within the text and the limit, never start or end with white
// space, never cut a well-formed UTF-8 character, and that only white space
// lies between them and after the last.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "engines/speech/text/sentence_splitter.h"
#include "fuzz/fuzz_tmp.h"

namespace {

using tavn::speech::Sentence;

// Length of the white space at `i` (ASCII blanks, NUL, U+3000), or 0.
size_t space_at(std::string_view t, size_t i) {
  if (i >= t.size()) return 0;
  const char c = t[i];
  if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v' || c == '\0')
    return 1;
  return t.substr(i, 3) == "\xE3\x80\x80" ? 3 : 0;
}

bool ends_with_space(std::string_view t) {
  if (t.empty()) return false;
  if (space_at(t, t.size() - 1) == 1) return true;
  return t.size() >= 3 && t.substr(t.size() - 3) == "\xE3\x80\x80";
}

bool only_space(std::string_view t) {
  for (size_t i = 0; i < t.size();) {
    const size_t k = space_at(t, i);
    if (k == 0) return false;
    i += k;
  }
  return true;
}

// Bytes a well-formed sequence starting with `b` would take (1 for others).
size_t lead_length(uint8_t b) {
  return b >= 0xC2 && b <= 0xDF ? 2 : b >= 0xE0 && b <= 0xEF ? 3 : b >= 0xF0 && b <= 0xF4 ? 4 : 1;
}

// True when `pos` falls strictly inside a well-formed multi-byte character.
bool inside_character(std::string_view t, size_t pos) {
  for (size_t k = 1; k <= 3 && k <= pos; ++k) {
    const size_t lead = pos - k;
    const size_t len = lead_length(static_cast<uint8_t>(t[lead]));
    if (len <= k || lead + len > t.size()) continue;
    bool whole = true;
    for (size_t j = 1; j < len; ++j)
      whole = whole && (static_cast<uint8_t>(t[lead + j]) & 0xC0) == 0x80;
    if (whole) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t max_bytes = data[0] == 255 ? tavn::speech::kMaxSentenceBytes : data[0];
  const size_t limit = max_bytes < 4 ? 4 : max_bytes;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  size_t from = 0;
  Sentence s;
  while (tavn::speech::next_sentence(text, from, &s, max_bytes)) {
    check(s.begin >= from && s.begin < s.end && s.end <= text.size());
    check(s.end - s.begin <= limit);
    check(only_space(text.substr(from, s.begin - from)));
    const std::string_view sentence = text.substr(s.begin, s.end - s.begin);
    check(space_at(sentence, 0) == 0 && !ends_with_space(sentence));
    check(!inside_character(text, s.end));
    from = s.end;
  }
  check(only_space(text.substr(from)));
  return 0;
}
