// Log_Line<CharT>: a record line being built in a caller's fixed buffer.
// Every append is cut at the buffer's end, so no input, however long, is
// written past it; room set aside with keep_free() stays free for a final
// line break.  The text is always zero-terminated.
#ifndef TAVN_LOG_LOG_LINE_H_
#define TAVN_LOG_LOG_LINE_H_

#include <cstddef>
#include <cstring>
#include <cwchar>

template <class CharT>
class Log_Line {
 public:
  // `capacity` counts the terminating zero and must be at least 1.
  Log_Line(CharT* buf, size_t capacity) : buf_(buf), end_(capacity - 1) { buf_[0] = 0; }

  // Sets `n` characters aside at the end for append_reserved().
  void keep_free(size_t n) { limit_ = end_ > n ? end_ - n : 0; }

  void append(const CharT* s) {
    if (s != nullptr) append(s, bounded_length(s, limit() - len_));
  }

  // Appends the first `n` characters of `s` (no zero among them).
  void append(const CharT* s, size_t n) {
    if (n > limit() - len_) n = limit() - len_;
    memcpy(buf_ + len_, s, n * sizeof(CharT));
    len_ += n;
    buf_[len_] = 0;
  }

  // Appends ASCII text, each character as one CharT.
  void append_ascii(const char* s) {
    for (; *s != '\0'; ++s) append_char(static_cast<CharT>(*s));
  }

  // "%04x": lower-case hex digits, at least four.
  void append_hex4(unsigned value) {
    CharT digits[8];
    size_t n = 0;
    do {
      digits[7 - n++] = static_cast<CharT>("0123456789abcdef"[value & 0xF]);
      value >>= 4;
    } while (value != 0);
    while (n < 4) digits[7 - n++] = '0';
    append(digits + 8 - n, n);
  }

  // "%-W.Ws": `s` cut or padded with blanks to exactly `width` characters.
  void append_padded(const CharT* s, size_t width) {
    const size_t n = bounded_length(s, width);
    append(s, n);
    for (size_t i = n; i < width; ++i) append_char(' ');
  }

  void append_char(CharT c) {
    if (len_ >= limit()) return;
    buf_[len_++] = c;
    buf_[len_] = 0;
  }

  // Appends `c` in the room kept free, if there is any left.
  void append_reserved(CharT c) {
    if (len_ >= end_) return;
    buf_[len_++] = c;
    buf_[len_] = 0;
  }

  CharT* data() { return buf_; }
  size_t size() const { return len_; }
  bool empty() const { return len_ == 0; }
  CharT back() const { return len_ > 0 ? buf_[len_ - 1] : 0; }

 private:
  size_t limit() const { return limit_ < end_ ? limit_ : end_; }
  static size_t bounded_length(const char* s, size_t max) { return strnlen(s, max); }
  static size_t bounded_length(const wchar_t* s, size_t max) { return wcsnlen(s, max); }

  CharT* buf_;
  size_t end_;                 // index of the last usable character slot + 1
  size_t limit_ = ~size_t{0};  // appends stop here; the rest is kept free
  size_t len_ = 0;
};

#endif  // TAVN_LOG_LOG_LINE_H_
