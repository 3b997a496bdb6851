// Log_Impl_T::log_msg_i for narrow messages: filters, formats and writes
// one record.  Included by log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_RECORD_H_
#define TAVN_LOG_LOG_IMPL_RECORD_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include "log/log_console.h"
#include "log/log_line.h"
#include "log/log_process.h"
#include "log/log_scratch.h"

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
  if ((style & LOG_STYLE_LINE_BREAK) && (line.empty() || (line.back() != '\n' && line.back() != '\r')))
    line.append_reserved('\n');

  if (output & 1) {
    const int len = static_cast<int>(line.size());
    write_record(line.data(), len, [&] { write_text(line.data()); },
                 "\nLog_Impl_T<IO, LOCK, CFG>::log_msg_i catch exception CATCHED.");
  }

  // The console shows the same buffer, scrambled bytes included.
  if ((output & 2) && (level & live(cfg_.console_level_))) {
    if (cfg_.charset_ == 2)
      KAVRI_LOG::echo_widened(line.data());
    else
      KAVRI_LOG::echo_narrow(line.data());
  }
}

#endif  // TAVN_LOG_LOG_IMPL_RECORD_H_
