// Log_Impl_T::log_msg_i for wide messages.  Included by log/log_impl.h.
//
// Differs from the narrow form: no include/exclude filtering, a line of
// 66560 wide characters, a blank before the message even without a prefix,
// narrow file text only for charset 1, and a scrambled record that covers
// only its first `len` bytes (len counted in characters) by design.
#ifndef TAVN_LOG_LOG_IMPL_RECORD_W_H_
#define TAVN_LOG_LOG_IMPL_RECORD_W_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>
#include "log/log_console.h"
#include "log/log_line.h"
#include "log/log_process.h"
#include "log/log_scratch.h"
#include "log/log_text_output.h"

namespace KAVRI_LOG {

// Widens a short narrow text (time stamp, level name, subject) into `out`
// of `size` characters, cut to fit; bytes that do not convert are widened
// one by one.
inline const wchar_t* widen_part(const char* text, wchar_t* out, size_t size) {
  size_t n = mbstowcs(out, text, size - 1);
  if (n == static_cast<size_t>(-1)) {
    for (n = 0; n < size - 1 && text[n] != '\0'; ++n)
      out[n] = static_cast<wchar_t>(static_cast<signed char>(text[n]));
  }
  out[n] = L'\0';
  return out;
}

}  // namespace KAVRI_LOG

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i(const char* subject, LOG_LEVEL level, int style,
                                          const wchar_t* msg) {
  check_config();
  const int output = live(cfg_.output_);
  if (style == 0) style = live(cfg_.style_);
  if (output == 0 || (level & live(cfg_.level_)) == 0) return;
  if (msg == nullptr) msg = L"";  // a missing message logs as an empty one

  // The 266 KB line is the thread's scratch buffer: small thread stacks
  // could not hold it.  Without memory the record is dropped.
  KAVRI_LOG::Log_Scratch buf(KAVRI_LOG::Scratch_Kind::wide_line);
  if (buf.data() == nullptr) return;
  Log_Line<wchar_t> line(buf.wide(),
                         KAVRI_LOG::scratch_bytes(KAVRI_LOG::Scratch_Kind::wide_line) / sizeof(wchar_t));
  if (style & LOG_STYLE_LINE_BREAK) line.keep_free(1);

  wchar_t part[200];
  wchar_t text[KAVRI_LOG::kTimeBufSize];
  if (style & (LOG_STYLE_FULL_TIME | LOG_STYLE_SHORT_TIME)) {
    char stamp[KAVRI_LOG::kTimeBufSize];
    cur_time(stamp, false, (style & LOG_STYLE_FULL_TIME) == 0);
    swprintf(part, 200, L"[%ls]", KAVRI_LOG::widen_part(stamp, text, KAVRI_LOG::kTimeBufSize));
    line.append(part);
  }
  if (style & LOG_STYLE_LEVEL) {
    swprintf(part, 200, L"[%ls]", KAVRI_LOG::widen_part(level_str(level), text, KAVRI_LOG::kTimeBufSize));
    line.append(part);
  }
  if (style & LOG_STYLE_PROCESS) {
    swprintf(part, 200, L"[Px%04x]", static_cast<unsigned>(KAVRI_LOG::process_id()));
    line.append(part);
  }
  if (style & LOG_STYLE_THREAD) {
    swprintf(part, 200, L"[Tx%04x]", KAVRI_LOG::thread_id());
    line.append(part);
  }
  if ((style & LOG_STYLE_SUBJECT) && subject != nullptr) {
    // The narrow subject is converted first: read as wide text in place it
    // would run past its end.
    wchar_t name[16];
    swprintf(part, 200, L"[%-8.8ls]", KAVRI_LOG::widen_part(subject, name, 16));
    line.append(part);
  }
  line.append(L" ");
  line.append(msg);
  if ((style & LOG_STYLE_LINE_BREAK) && (line.empty() || (line.back() != L'\n' && line.back() != L'\r')))
    line.append_reserved(L'\n');

  if (output & 1) {
    const int len = static_cast<int>(line.size());
    write_record(line.data(), len, [&] {
      if (cfg_.charset_ == 1) {
        KAVRI_LOG::Narrow_Text narrow(line.data());
        io_->write(narrow.c_str());
      } else {
        io_->write(static_cast<const wchar_t*>(line.data()));
      }
    }, "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.");
  }

  if ((output & 2) && (level & live(cfg_.console_level_))) {
    if (cfg_.charset_ == 1) {
      KAVRI_LOG::Narrow_Text narrow(line.data());
      KAVRI_LOG::echo_narrow(narrow.c_str());
    } else {
      KAVRI_LOG::echo_wide_as_narrow(line.data());
    }
  }
}

#endif  // TAVN_LOG_LOG_IMPL_RECORD_W_H_
