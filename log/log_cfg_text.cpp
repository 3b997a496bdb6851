#include "log/log_cfg_text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace KAVRI_LOG {

namespace {

bool is_ctl(char c) { return static_cast<unsigned char>(c) <= 32; }

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

void add_piece(const std::string& text, std::size_t from, std::size_t to, bool keep_empty,
               std::vector<std::string>& out) {
  std::string piece = text.substr(from, std::min(to - from, kMaxPiece));
  trim_ctl(piece);
  if (keep_empty || !piece.empty()) out.push_back(std::move(piece));
}

}  // namespace

void trim_ctl(std::string& s) {
  std::size_t end = s.size();
  while (end > 0 && is_ctl(s[end - 1])) --end;
  std::size_t begin = 0;
  while (begin < end && is_ctl(s[begin])) ++begin;
  s.erase(end);
  s.erase(0, begin);
}

void fold_ascii_lower(std::string& s) {
  for (char& c : s) c = lower(c);
}

bool equal_ascii_nocase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

void split_quoted(const std::string& text, const char* seps, bool keep_empty,
                  std::vector<std::string>& out) {
  char quote = '\0';
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c != '\0' && std::strchr(seps, c) != nullptr) {
      add_piece(text, start, i, keep_empty, out);
      start = i + 1;
    }
  }
  add_piece(text, start, text.size(), keep_empty, out);
}

int32_t config_number(const std::string& text) {
  const long n = std::strtol(text.c_str(), nullptr, 0);
  if (n > INT32_MAX) return INT32_MAX;
  if (n < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(n);
}

}  // namespace KAVRI_LOG
