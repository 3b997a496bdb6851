#include "log/match_string.h"

#include <cstring>

namespace KAVRI_LOG {

namespace {

// Finds the first occurrence of the segment that starts at `seg` (it ends
// at the next "*" or "?") in `text`.  The delimiters are zeroed for the
// search and restored afterwards.
const char* find_segment(char* seg, const char* text) {
  char* star = std::strchr(seg, '*');
  char* quest = std::strchr(seg, '?');
  if (star != nullptr) *star = '\0';
  if (quest != nullptr) *quest = '\0';
  const char* hit = std::strstr(text, seg);
  if (star != nullptr) *star = '*';
  if (quest != nullptr) *quest = '?';
  return hit;
}

}  // namespace

bool match_string_i(char* pattern, const char* str) {
  if (pattern == nullptr || str == nullptr) return false;
  char* p = pattern;
  const char* s = str;
  for (;;) {
    switch (*p) {
      case '\0': return *s == '\0';
      case '*': {
        ++p;
        if (*p == '\0') return true;
        const char* hit = find_segment(p, s);
        if (hit == nullptr) return false;
        s = hit;  // only the first occurrence is tried
        break;
      }
      case '?':
        // A "?" needs a character: at the end of the text it is no match.
        if (*s == '\0') return false;
        ++p;
        ++s;
        break;
      default:
        if (*p != *s) return false;
        ++p;
        ++s;
        break;
    }
  }
}

}  // namespace KAVRI_LOG
