#include "log/log_text_output.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

namespace KAVRI_LOG {

const wchar_t* widen_text(const char* text, wchar_t* out) {
  out[0] = L'\0';
  if (text == nullptr) return out;
  const size_t len = strlen(text);
  if (len + 1 > kWideTextChars - 1) return out;  // too long: written as an empty text
  // At most len characters come out of len bytes, so len + 2 fits `out`.
  if (mbstowcs(out, text, len + 2) == static_cast<size_t>(-1)) {
    for (size_t i = 0; i <= len; ++i)
      out[i] = static_cast<wchar_t>(static_cast<signed char>(text[i]));
  }
  return out;
}

const wchar_t* widen_part(const char* text, wchar_t* out, size_t size) {
  size_t n = mbstowcs(out, text, size - 1);
  if (n == static_cast<size_t>(-1)) {
    for (n = 0; n < size - 1 && text[n] != '\0'; ++n)
      out[n] = static_cast<wchar_t>(static_cast<signed char>(text[n]));
  }
  out[n] = L'\0';
  return out;
}

Narrow_Text::Narrow_Text(const wchar_t* text) : fixed_(Scratch_Kind::narrow_text), text_("") {
  if (text == nullptr) return;
  const size_t wlen = wcslen(text);
  // Four bytes per character plus four; capped so the sum cannot wrap.
  const size_t need = wlen < (SIZE_MAX / 4 - 2) ? wlen * 4 + 4 : SIZE_MAX / 4;
  char* out = fixed_.chars();
  size_t limit = kFixedBytes;
  if (need > kFixedBytes - 1) {
    heap_.reset(new (std::nothrow) char[need + 1]);
    if (heap_) {
      out = heap_.get();
      limit = need;
    }
    // Without memory the text is cut to what fits the scratch buffer.
  }
  if (out == nullptr) return;  // no memory at all: the empty text
  size_t n = wcstombs(out, text, limit);
  if (n == static_cast<size_t>(-1)) {
    for (n = 0; n < limit && text[n] != L'\0'; ++n) out[n] = static_cast<char>(text[n]);
  }
  out[n < limit ? n : limit] = '\0';  // wcstombs leaves no zero when it fills `limit`
  text_ = out;
}

}  // namespace KAVRI_LOG
