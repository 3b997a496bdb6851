// Text helpers of the configuration reader: trimming, ASCII case folding,
// splitting at separators outside quotes and reading numbers.  Pure functions on strings;
// safe from any thread.
#ifndef TAVN_LOG_LOG_CFG_TEXT_H_
#define TAVN_LOG_LOG_CFG_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KAVRI_LOG {

// Longest piece kept from a split: longer pieces are cut to their first
// kMaxPiece characters before they are trimmed.
constexpr std::size_t kMaxPiece = 400;

// Removes every byte with a code of 32 or less (blanks and control
// characters) from both ends.  Bytes of 128 and above are ordinary.
void trim_ctl(std::string& s);

// Folds ASCII "A" to "Z" to lower case; other bytes are unchanged.
void fold_ascii_lower(std::string& s);

// True when `a` and `b` are equal ignoring ASCII case.  Independent of the
// process locale.
bool equal_ascii_nocase(const std::string& a, const std::string& b);

// Splits `text` at every character of `seps` that is outside quotes and
// appends the pieces to `out`, each cut to kMaxPiece characters and then
// trimmed with trim_ctl().  A single or double quote opens a quoted run that
// the same quote character closes (an unclosed run lasts to the end); the
// quote characters stay in the pieces.  Empty pieces are kept when
// `keep_empty` is true and dropped otherwise.  An empty text gives one empty
// piece (or none).
void split_quoted(const std::string& text, const char* seps, bool keep_empty,
                  std::vector<std::string>& out);

// Reads a number the way strtol(text, nullptr, 0) does with a 32-bit long:
// leading blanks skipped, an optional sign, "0x" for hexadecimal, a leading
// "0" for octal, trailing text ignored, no digits giving 0.  Values outside
// the 32-bit range saturate to INT32_MIN / INT32_MAX on every target, so
// x86_64 reads a file exactly as the 32-bit product does.
int32_t config_number(const std::string& text);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_CFG_TEXT_H_
