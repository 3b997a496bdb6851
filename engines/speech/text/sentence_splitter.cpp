#include "engines/speech/text/sentence_splitter.h"

#include <cstdint>
#include <cstring>

namespace tavn::speech {
namespace {

uint8_t byte_at(std::string_view t, size_t i) { return static_cast<uint8_t>(t[i]); }

bool has(std::string_view t, size_t i, const char* utf8) {
  const size_t len = std::strlen(utf8);
  return i + len <= t.size() && t.compare(i, len, utf8) == 0;
}

// Length of the match at `i` among `marks` (UTF-8 strings), or 0.
template <size_t N>
size_t match_any(std::string_view t, size_t i, const char* const (&marks)[N]) {
  for (const char* m : marks) {
    if (has(t, i, m)) return std::strlen(m);
  }
  return 0;
}

const char* const kSpaces[] = {" ", "\t", "\n", "\r", "\f", "\v", "\xE3\x80\x80"};
const char* const kStops[] = {".", "!", "?"};
const char* const kWideStops[] = {"\xE3\x80\x82", "\xEF\xBC\x81", "\xEF\xBC\x9F"};  // 。！？
// One row per script, each beside the characters it shows.
// clang-format off
const char* const kClosers[] = {"\"", "'", ")", "]", "}",
                                "\xE2\x80\x9D", "\xE2\x80\x99",                   // ” ’
                                "\xE3\x80\x8D", "\xE3\x80\x8F", "\xE3\x80\x8B",  // 」 』 》
                                "\xEF\xBC\x89"};                                  // ）
const char* const kClauses[] = {",", ";", ":",
                                "\xEF\xBC\x8C", "\xEF\xBC\x9B", "\xEF\xBC\x9A",  // ，；：
                                "\xE3\x80\x81"};                                  // 、
// clang-format on

size_t space_len(std::string_view t, size_t i) {
  if (i < t.size() && t[i] == '\0') return 1;  // strlen would not see it in the table
  return match_any(t, i, kSpaces);
}

// Bytes of the character starting at `i`: 1 for ASCII and for any byte that
// does not start a well-formed sequence.
size_t char_len(std::string_view t, size_t i) {
  const uint8_t b = byte_at(t, i);
  size_t len = 1;
  if (b >= 0xC2 && b <= 0xDF) len = 2;
  else if (b >= 0xE0 && b <= 0xEF) len = 3;
  else if (b >= 0xF0 && b <= 0xF4) len = 4;
  if (i + len > t.size()) return 1;
  for (size_t k = 1; k < len; ++k) {
    if ((byte_at(t, i + k) & 0xC0) != 0x80) return 1;
  }
  return len;
}

// The last character boundary at or before `limit`, past the first character.
size_t boundary_before(std::string_view t, size_t begin, size_t limit) {
  size_t at = begin + char_len(t, begin);
  while (at < t.size()) {
    const size_t next = at + char_len(t, at);
    if (next > limit) break;
    at = next;
  }
  return at;
}

size_t skip_closers(std::string_view t, size_t i) {
  while (size_t k = match_any(t, i, kClosers)) i += k;
  return i;
}

// Moves `end` back over trailing white space, not below `begin`.
size_t trim_end(std::string_view t, size_t begin, size_t end) {
  while (end > begin) {
    if (end - begin >= 3 && has(t, end - 3, "\xE3\x80\x80")) {
      end -= 3;
    } else if (space_len(t, end - 1) == 1) {
      --end;
    } else {
      break;
    }
  }
  return end;
}

// At a line break: true when only blanks separate it from the next one.
bool paragraph_break(std::string_view t, size_t i) {
  size_t j = i + 1;
  while (j < t.size() &&
         (t[j] == ' ' || t[j] == '\t' || t[j] == '\r' || t[j] == '\f' || t[j] == '\v')) {
    ++j;
  }
  return j < t.size() && t[j] == '\n';
}

}  // namespace

bool next_sentence(std::string_view text, size_t from, Sentence* out, size_t max_bytes) {
  if (max_bytes < 4) max_bytes = 4;  // room for any one character
  size_t i = from;
  while (i < text.size()) {
    const size_t k = space_len(text, i);
    if (k == 0) break;
    i += k;
  }
  if (i >= text.size()) return false;

  const size_t begin = i;
  const size_t limit = begin + max_bytes;
  size_t after_clause = 0;  // cut candidates: just past a clause mark,
  size_t before_space = 0;  // or at a white space
  // Where an over-long stretch is cut: the best candidate, else the last
  // character boundary within the limit.
  auto cut = [&]() {
    size_t e = 0;
    if (after_clause > begin) e = trim_end(text, begin, after_clause);
    else if (before_space > begin) e = trim_end(text, begin, before_space);
    return e > begin ? e : boundary_before(text, begin, limit);
  };
  size_t end = 0;
  while (i < text.size()) {
    if (i + char_len(text, i) > limit) {
      end = cut();
      break;
    }
    size_t k = match_any(text, i, kStops);
    const bool wide = k == 0 && (k = match_any(text, i, kWideStops)) != 0;
    if (k != 0) {
      size_t j = i;
      while ((k = match_any(text, j, wide ? kWideStops : kStops)) != 0) j += k;
      j = skip_closers(text, j);
      if (j > limit) {
        end = cut();
        break;
      }
      // A full-width stop ends the sentence as it is; '.', '!' and '?' only
      // before white space ("3.14" and "e.g.," go on).
      if (wide || j >= text.size() || space_len(text, j) != 0) {
        end = j;
        break;
      }
      i = j;
      continue;
    }
    if (text[i] == '\n' && paragraph_break(text, i)) {
      end = trim_end(text, begin, i);
      break;
    }
    if ((k = match_any(text, i, kClauses)) != 0) {
      after_clause = i + k;
    } else if (space_len(text, i) != 0) {
      before_space = i;
    }
    i += char_len(text, i);
  }
  if (end == 0) end = trim_end(text, begin, text.size());
  out->begin = begin;
  out->end = end;
  return true;
}

}  // namespace tavn::speech
