#include "engines/speech/markup/break_length.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {
namespace {

constexpr uint32_t kMediumMs = 400;

struct Strength {
  std::string_view name;
  uint32_t ms;
};
constexpr Strength kStrengths[] = {{"none", 0},           {"x-weak", 100}, {"weak", 250},
                                   {"medium", kMediumMs}, {"strong", 750}, {"x-strong", 1250}};

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

// "N ms" or "N s"; false for anything else.
bool read_time(std::string_view s, uint32_t* ms) {
  s = trim(s);
  if (s.empty() || !((s[0] >= '0' && s[0] <= '9') || s[0] == '.')) return false;
  double v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || !std::isfinite(v)) return false;
  const std::string_view unit = trim(s.substr(static_cast<size_t>(end - s.data())));
  if (unit == "s") {
    v *= 1000;
  } else if (unit != "ms") {
    return false;
  }
  *ms = v >= kMaxBreakMs ? kMaxBreakMs : static_cast<uint32_t>(std::lround(v));
  return true;
}

}  // namespace

uint32_t break_length_ms(const char* time, const char* strength) {
  uint32_t ms = 0;
  if (time != nullptr && read_time(time, &ms)) return ms;
  if (strength != nullptr) {
    for (const Strength& s : kStrengths) {
      if (trim(strength) == s.name) return s.ms;
    }
  }
  return kMediumMs;
}

}  // namespace tavn::speech::markup
