// Conversions between the narrow and wide forms of log text, as used when
// the log file's character set differs from the caller's.  Both run under
// the process's current locale (the logger's `locale` setting).
#ifndef TAVN_LOG_LOG_TEXT_OUTPUT_H_
#define TAVN_LOG_LOG_TEXT_OUTPUT_H_

#include <cstddef>
#include <memory>

#include "log/log_scratch.h"

namespace KAVRI_LOG {

// Capacity of a widened text, terminating zero included.
constexpr size_t kWideTextChars = 20480;

// Converts `text` with mbstowcs into `out` and returns `out`.  When mbstowcs
// fails, each byte is widened with sign extension instead.  A text whose
// length plus 1 exceeds 20479 gives the empty text: wide log files drop such
// long texts on purpose.  `out` holds kWideTextChars characters and is
// never written past.
const wchar_t* widen_text(const char* text, wchar_t* out);

// Widens a short narrow text (time stamp, level name, subject) into `out`
// of `size` characters (at least 1), cut to fit and always zero-terminated;
// when mbstowcs fails, the bytes are widened one by one with sign
// extension.  Returns `out`.
const wchar_t* widen_part(const char* text, wchar_t* out, size_t size);

// A wide text converted with wcstombs.  Up to 20480 bytes go to the
// thread's narrow scratch buffer (Log_Scratch), longer results (four bytes
// per character plus four) to the heap.  When wcstombs fails, each
// character is narrowed to its low 8 bits.  Always zero-terminated, never
// written past its buffer; without any memory the text is empty.
class Narrow_Text {
 public:
  static constexpr size_t kFixedBytes = 20480;

  explicit Narrow_Text(const wchar_t* text);
  Narrow_Text(const Narrow_Text&) = delete;
  Narrow_Text& operator=(const Narrow_Text&) = delete;

  const char* c_str() const { return text_; }

 private:
  Log_Scratch fixed_;  // kFixedBytes + 1 bytes
  std::unique_ptr<char[]> heap_;
  const char* text_;
};

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_TEXT_OUTPUT_H_
