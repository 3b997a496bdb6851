// Wildcard matcher and path normalisers.  Input: a pattern (up to the first
// line break) and a text (the rest).  Checks that the pattern comes back
// unchanged, that every match is also a match under full wildcard rules,
// and that both normalisers agree and never lengthen a text.
#include <cstring>
#include <vector>

#include "fuzz/fuzz_tmp.h"
#include "log/log_os.h"
#include "log/match_string.h"

namespace {

// Full wildcard matching with backtracking ("*" any run, "?" one character).
bool full_match(const char* p, const char* s) {
  const char *star = nullptr, *resume = nullptr;
  while (*s != '\0') {
    if (*p == '*') {
      star = p++;
      resume = s;
    } else if (*p != '\0' && (*p == '?' || *p == *s)) {
      ++p, ++s;
    } else if (star != nullptr) {
      p = star + 1;
      s = ++resume;
    } else {
      return false;
    }
  }
  while (*p == '*') ++p;
  return *p == '\0';
}

void check_normalisers(const std::string& in) {
  std::string a = in;
  KAVRI_LOG::normalize_path(a);
  std::vector<char> b(in.c_str(), in.c_str() + std::strlen(in.c_str()) + 1);
  KAVRI_LOG::normalize_separators(b.data());
  const std::string out(b.data());
  check(out.size() <= std::strlen(in.c_str()) && a.size() <= in.size());
  if (in.find('\0') == std::string::npos) check(a == out);
  check(out.find("//") == std::string::npos);
  check(out.find('\\', out.compare(0, 2, "\\\\") == 0 ? 2 : 0) == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto [pattern, text] = split_input(data, size);
  const std::string before = pattern;
  const bool m = KAVRI_LOG::match_string_i(&pattern[0], text.c_str());
  check(pattern == before);
  if (m) check(full_match(pattern.c_str(), text.c_str()));
  if (pattern.find_first_of("*?") == std::string::npos)
    check(m == (std::strcmp(pattern.c_str(), text.c_str()) == 0));
  check_normalisers(pattern);
  check_normalisers(text);
  return 0;
}
