#include "engines/speech/markup/break_length.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "engines/speech/markup/blanks.h"
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

// "N ms" or "N s"; false for anything else.
bool read_time(std::string_view s, uint32_t* ms) {
  s = trim_blanks(s);
  if (s.empty() || !((s[0] >= '0' && s[0] <= '9') || s[0] == '.')) return false;
  double v = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
  if (ec != std::errc() || !std::isfinite(v)) return false;
  const std::string_view unit = trim_blanks(s.substr(static_cast<size_t>(end - s.data())));
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
      if (trim_blanks(strength) == s.name) return s.ms;
    }
  }
  return kMediumMs;
}

}  // namespace tavn::speech::markup
