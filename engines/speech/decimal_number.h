// Unsigned decimal numbers in outside input (engine parameters, server
// addresses, tavnd's options): digits only, no sign, blank or exponent.
//
// Pure function: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_DECIMAL_NUMBER_H_
#define TAVN_ENGINES_SPEECH_DECIMAL_NUMBER_H_

#include <cstdint>
#include <string_view>

namespace tavn::speech {

// True with `*out` set when `s` is 1 or more decimal digits whose value is
// at most `max`; false (`*out` unchanged) otherwise, however long `s` is.
inline bool read_decimal(std::string_view s, uint64_t max, uint64_t* out) {
  if (s.empty()) return false;
  uint64_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    const auto digit = static_cast<uint64_t>(c - '0');
    if (digit > max || v > (max - digit) / 10) return false;  // v * 10 + digit > max
    v = v * 10 + digit;
  }
  *out = v;
  return true;
}

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_DECIMAL_NUMBER_H_
