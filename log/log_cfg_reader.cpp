#include "log/log_cfg_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace KAVRI_LOG {

// ---- Text helpers.

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

// ---- Word tables.

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

// ---- Log_Cfg_Heap, Log_Cfg_Heap_Reg.

namespace {

// One read of the file: at most kLineBuffer - 1 bytes.
constexpr int kLineBuffer = 1000;

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

Log_Cfg_Heap::Log_Cfg_Heap(const char* section, const char* file)
    : section_(section != nullptr ? section : ""), file_(file != nullptr ? file : "") {}

Log_Cfg_Heap::~Log_Cfg_Heap() = default;

Log_Cfg_Heap_Reg::Log_Cfg_Heap_Reg(const char* section, const char* file)
    : Log_Cfg_Heap(section, file) {}

Log_Cfg_Heap_Reg::~Log_Cfg_Heap_Reg() { handle_ = nullptr; }

int Log_Cfg_Heap_Reg::get_string_value(const char* key, std::string& value,
                                       const char* section) const {
  if (key == nullptr) return -1;
  std::unique_ptr<std::FILE, FileCloser> f(std::fopen(file_.c_str(), "re"));
  if (!f) return -1;

  const std::string want_key(key);
  const std::string want_section(section != nullptr ? section : section_);
  std::string current;  // lines before any header belong to the empty section
  std::vector<std::string> pieces;
  char buf[kLineBuffer];
  for (;;) {
    buf[0] = '\0';
    if (std::fgets(buf, sizeof buf, f.get()) == nullptr) break;
    std::string line(buf);
    KAVRI_LOG::trim_ctl(line);
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
      current = line.substr(1, line.size() - 2);
      continue;
    }
    if (!KAVRI_LOG::equal_ascii_nocase(current, want_section)) continue;
    pieces.clear();
    KAVRI_LOG::split_quoted(line, "=", true, pieces);
    if (!KAVRI_LOG::equal_ascii_nocase(pieces[0], want_key)) continue;
    // The first matching line decides, even without a value.
    if (pieces.size() >= 2 && !pieces[1].empty()) value = pieces[1];
    return 0;
  }
  return 0;
}
