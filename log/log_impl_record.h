// Log_Impl_T's record path: the level entry points, both forms of
// log_msg_i, the file section of a record and the text writers.  Included
// at the end of log/log_impl.h; compiles on its own as well.
#ifndef TAVN_LOG_LOG_IMPL_RECORD_H_
#define TAVN_LOG_LOG_IMPL_RECORD_H_

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>

#include "log/log_console.h"
#include "log/log_impl.h"
#include "log/log_line.h"
#include "log/log_lock_guard.h"
#include "log/log_process.h"
#include "log/log_scratch.h"
#include "log/log_style.h"
#include "log/log_text_output.h"
#include "log/log_time.h"

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_level_v(LOG_LEVEL level, const char* fmt, va_list ap) {
  // The thread's own message buffer: never shared between threads, and off
  // the stack.  Longer messages are cut to 40959 bytes.  Without memory for
  // it the record is dropped.
  KAVRI_LOG::Log_Scratch scratch(KAVRI_LOG::Scratch_Kind::message);
  char* msg = scratch.chars();
  if (msg == nullptr) return;
  msg[0] = '\0';
  if ((live(cfg_.level_) & level) != 0 && fmt != nullptr)
    vsnprintf(msg, KAVRI_LOG::scratch_bytes(KAVRI_LOG::Scratch_Kind::message), fmt, ap);
  // Handed over even when not formatted: the level test there drops it.
  log_msg_i(nullptr, level, 0, msg);
}

#define TAVN_LOG_LEVEL_ENTRY_(name, level, then_flush)         \
  template <class IO, class LOCK, class CFG>                   \
  void Log_Impl_T<IO, LOCK, CFG>::name(const char* fmt, ...) { \
    if (live(cfg_.output_) == 0) return;                       \
    va_list ap;                                                \
    va_start(ap, fmt);                                         \
    log_level_v(level, fmt, ap);                               \
    va_end(ap);                                                \
    if (then_flush) flush();                                   \
  }

TAVN_LOG_LEVEL_ENTRY_(log_trace, LOG_LVL_TRACE, false)
TAVN_LOG_LEVEL_ENTRY_(log_info, LOG_LVL_INFO, false)
TAVN_LOG_LEVEL_ENTRY_(log_verbose, LOG_LVL_VERBOSE, false)
TAVN_LOG_LEVEL_ENTRY_(log_warn, LOG_LVL_WARN, true)
TAVN_LOG_LEVEL_ENTRY_(log_error, LOG_LVL_ERROR, true)

#undef TAVN_LOG_LEVEL_ENTRY_

template <class IO, class LOCK, class CFG>
template <class WRITE>
void Log_Impl_T<IO, LOCK, CFG>::write_record(void* line, int len, WRITE write_plain,
                                             const char* failure) {
  Log_Lock_Guard guard(mutex_);
  if (io_ != nullptr) {  // no output object (never opened): console only
    try {
      if (static_cast<uint32_t>(io_->size()) + static_cast<uint32_t>(len) > cfg_.max_size_)
        back_file();
      if (cfg_.encrypt_key != 0) {
        encrypt(line, len);
        io_->write(static_cast<const void*>(line), len + 1);
      } else {
        write_plain();
      }
      if (live(cfg_.flush_always_)) io_->flush();
    } catch (...) {
      puts(failure);
    }
  }
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_msg_i(const char* subject, LOG_LEVEL level, int style,
                                          const char* msg) {
  check_config();
  // One reading of the settings the re-check may change meanwhile.
  const int output = live(cfg_.output_);
  if (style == 0) style = live(cfg_.style_);
  if (output == 0 || (level & live(cfg_.level_)) == 0) return;
  if (msg == nullptr) msg = "";  // a missing message logs as an empty one

  for (const std::string& entry : cfg_.exclude) {
    if (subject != nullptr && entry == subject) return;
    if (strstr(msg, entry.c_str()) != nullptr) return;
  }
  if (!cfg_.include.empty()) {
    bool wanted = false;
    for (const std::string& entry : cfg_.include) {
      if ((subject != nullptr && entry == subject) || strstr(msg, entry.c_str()) != nullptr) {
        wanted = true;
        break;
      }
    }
    if (!wanted) return;
  }

  // Over-long records are cut at the buffer's end; the line break the style
  // asks for always has room.
  KAVRI_LOG::Log_Scratch buf(KAVRI_LOG::Scratch_Kind::line);
  if (buf.data() == nullptr) return;  // no memory: the record is dropped
  Log_Line<char> line(buf.chars(), KAVRI_LOG::scratch_bytes(KAVRI_LOG::Scratch_Kind::line));
  if (style & LOG_STYLE_LINE_BREAK) line.keep_free(1);
  // Parts appended piece by piece: the same text as "[%s]", "[Px%04x]",
  // "[Tx%04x]" and "[%-8.8s]", without a printf call per part.
  if (style & (LOG_STYLE_FULL_TIME | LOG_STYLE_SHORT_TIME)) {
    char stamp[KAVRI_LOG::kTimeBufSize];
    cur_time(stamp, false, (style & LOG_STYLE_FULL_TIME) == 0);
    line.append_char('[');
    line.append(stamp);
    line.append_char(']');
  }
  if (style & LOG_STYLE_LEVEL) {
    line.append_char('[');
    line.append(level_str(level));
    line.append_char(']');
  }
  if (style & LOG_STYLE_PROCESS) {
    line.append("[Px", 3);
    line.append_hex4(static_cast<unsigned>(KAVRI_LOG::process_id()));
    line.append_char(']');
  }
  if (style & LOG_STYLE_THREAD) {
    line.append("[Tx", 3);
    line.append_hex4(KAVRI_LOG::thread_id());
    line.append_char(']');
  }
  if ((style & LOG_STYLE_SUBJECT) && subject != nullptr) {
    line.append_char('[');
    line.append_padded(subject, 8);
    line.append_char(']');
  }
  if (!line.empty()) line.append(" ");
  line.append(msg);
  if ((style & LOG_STYLE_LINE_BREAK) &&
      (line.empty() || (line.back() != '\n' && line.back() != '\r')))
    line.append_reserved('\n');

  if (output & 1) {
    const int len = static_cast<int>(line.size());
    write_record(
        line.data(), len, [&] { write_text(line.data()); },
        "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.");
  }

  // The console shows the same buffer, scrambled bytes included.
  if ((output & 2) && (level & live(cfg_.console_level_))) {
    if (cfg_.charset_ == 2) KAVRI_LOG::echo_widened(line.data());
    else KAVRI_LOG::echo_narrow(line.data());
  }
}

// The wide form differs from the narrow one: no include/exclude filtering,
// a line of 66560 wide characters, a blank before the message even without
// a prefix, narrow file text only for charset 1, and a scrambled record
// that covers only its first `len` bytes (len counted in characters) by
// design.
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
  Log_Line<wchar_t> line(
      buf.wide(), KAVRI_LOG::scratch_bytes(KAVRI_LOG::Scratch_Kind::wide_line) / sizeof(wchar_t));
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
    swprintf(part, 200, L"[%ls]",
             KAVRI_LOG::widen_part(level_str(level), text, KAVRI_LOG::kTimeBufSize));
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
  if ((style & LOG_STYLE_LINE_BREAK) &&
      (line.empty() || (line.back() != L'\n' && line.back() != L'\r')))
    line.append_reserved(L'\n');

  if (output & 1) {
    const int len = static_cast<int>(line.size());
    write_record(
        line.data(), len,
        [&] {
          if (cfg_.charset_ == 1) {
            KAVRI_LOG::Narrow_Text narrow(line.data());
            io_->write(narrow.c_str());
          } else {
            io_->write(static_cast<const wchar_t*>(line.data()));
          }
        },
        "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i_w catch exception CATCHED.");
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

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_text(const char* text) {
  return cfg_.charset_ == 2 ? write_widened(text) : io_->write(text);
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_widened(const char* text) {
  KAVRI_LOG::Log_Scratch wide(KAVRI_LOG::Scratch_Kind::wide_text);
  if (wide.data() == nullptr) return 0;  // no memory: the text is dropped
  return io_->write(KAVRI_LOG::widen_text(text, wide.wide()));
}

#endif  // TAVN_LOG_LOG_IMPL_RECORD_H_
