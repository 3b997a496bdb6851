// Log_Impl_T's member definitions: the file's life (open and close, the
// raw write with its scrambling, flush, the head and tail blocks, the
// separator line, rotation and the configuration re-check) and the record
// path (the level entry points, both forms of log_msg_i, the file section
// of a record and the text writers).
//
// Included by log/log_impl.cpp, which compiles this library's logger type
// once, and by code that instantiates Log_Impl_T with types of its own.
#ifndef TAVN_LOG_LOG_IMPL_INL_H_
#define TAVN_LOG_LOG_IMPL_INL_H_

#include <strings.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <memory>
#include <new>
#include <string>

#include "log/log_backup.h"
#include "log/log_impl.h"
#include "log/log_line.h"
#include "log/log_os.h"
#include "log/log_scratch.h"
#include "log/log_text_output.h"

// ---- The file's life.

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::open(const CFG* cfg, IO* io, void* param) {
  close();

  // Settings an output object carries come first; an explicit record wins
  // whole.
  if (io != nullptr && io->config() != nullptr) take_output_settings(cfg_, *io->config());
  if (cfg != nullptr) cfg_ = *cfg;

  // "null" only queries the locale, "empty" takes the environment's,
  // "skip" leaves it alone; any other name is set as it stands.
  const char* locale = cfg_.locale_.c_str();
  if (locale[0] != '\0') {
    if (strcasecmp(locale, "null") == 0) setlocale(LC_ALL, nullptr);
    else if (strcasecmp(locale, "empty") == 0) setlocale(LC_ALL, "");
    else if (strcasecmp(locale, "skip") != 0) setlocale(LC_ALL, locale);
  }

  if (io != nullptr && io->mutex() != nullptr) {
    mutex_ = io->mutex();
    own_mutex_ = false;
  } else {
    // Lock name from the title, blanks as "_"; titles are cut at 200 bytes.
    char title[201];
    snprintf(title, sizeof title, "%s", cfg_.title());
    for (char* p = title; *p != '\0'; ++p)
      if (*p == ' ') *p = '_';
    char name[260];
    snprintf(name, sizeof name, "Kavri_Logger_Mutex_%s", title);
    LOCK* lock_object = new LOCK();
    const int rc = lock_object->open(name);
    if (rc != 0) printf("Log_Impl_T::open open lock name %s failed, error = %d.\n", name, rc);
    mutex_ = lock_object;
    own_mutex_ = true;
  }

  if ((cfg_.output_ & 1) == 0) return 0;  // console only: no file, io not kept

  // The allocation and the file work below may throw: the guard gives the
  // lock back on the way out.
  Log_Lock_Guard guard(mutex_);
  if (io != nullptr) {
    // A caller's output object is taken as it is: assumed open, no head.
    io_ = io;
    own_io_ = false;
    return 0;
  }
  io_ = new IO();
  own_io_ = true;
  io_->mutex(mutex_);
  KAVRI_LOG::make_log_dir(cfg_.file_name());
  const int rc = io_->open(cfg_.file_name(), mutex_, cfg_.mode_, param);
  if (rc != 0) return rc;
  if (cfg_.has_head_) write_head(true);
  io_->config(&cfg_);
  return 0;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::close() {
  if (io_ != nullptr) {
    Log_Lock_Guard guard(mutex_);
    if (own_io_) {
      // Deleted and detached on every way out, even if the tail throws (the
      // object's destructor closes the file).
      struct Drop {
        IO*& io;
        ~Drop() {
          delete io;
          io = nullptr;
        }
      } drop{io_};
      if (cfg_.has_head_) write_tail(true);
      io_->close();
    }
  }
  if (mutex_ != nullptr && own_mutex_) {
    mutex_->close(false);
    // Lock objects have no virtual destructor; this one was made as a LOCK.
    delete static_cast<LOCK*>(mutex_);
    mutex_ = nullptr;
  }
  return 0;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_head(bool created) {
  if (live(cfg_.style_) == LOG_STYLE_NONE || io_ == nullptr) return;
  // Neither the application's nor the module's path is known on this
  // platform: both lines show an empty path, with the time text of an empty
  // path (" ").
  const char* const unknown_path = "";
  char path_time[64];
  KAVRI_LOG::file_time_text(unknown_path, path_time, sizeof path_time);
  char now[KAVRI_LOG::kTimeBufSize];
  cur_time(now, false, false);
  const int pid = KAVRI_LOG::process_id();
  // Titles are cut at 1024 bytes so the block always closes.
  char block[4096];
  snprintf(block, sizeof block,
           "=============================================================\n"
           "\tKavri log file\n"
           "\tSubject :    %.1024s\n"
           "\t%s-Time :    %s\n"
           "\tApplication: %.260s %s\n"
           "\tModule:      %.260s %s\n"
           "\tPID: %d (0x%04x) Version: %s\n"
           "=============================================================\n",
           cfg_.title(), created ? "Created" : "Continued", now, unknown_path, path_time,
           unknown_path, path_time, pid, static_cast<unsigned>(pid), "");
  write_text(block);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_tail(bool end) {
  if (live(cfg_.style_) == LOG_STYLE_NONE || io_ == nullptr) return;
  char now[KAVRI_LOG::kTimeBufSize];
  cur_time(now, false, false);
  const int pid = KAVRI_LOG::process_id();
  char block[2048];
  snprintf(block, sizeof block,
           "=============================================================\n"
           "\t%.1024s %s-Time: %s\n"
           "\tPID: %d (0x%04x)\n"
           "=============================================================\n",
           cfg_.title(), end ? "End" : "Continue", now, pid, static_cast<unsigned>(pid));
  write_text(block);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_bound(char c) {
  // No output object or no open file: nothing to separate.
  if (io_ == nullptr || io_->handle() == nullptr) return 0;
  char line[81];
  memset(line, c, 80);
  line[80] = '\0';
  Log_Lock_Guard guard(mutex_);
  if (cfg_.charset_ == 2) {
    write_text(line);
    io_->write(L"\n");
  } else {
    io_->write(line);
    io_->write("\n");
  }
  io_->flush();
  return 0;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write(const void* data, int len) {
  Log_Lock_Guard guard(mutex_);
  int result = -1;
  if (io_ != nullptr) {
    if (cfg_.encrypt_key != 0 && data != nullptr && len > 0) {
      // Scramble a copy: the caller's bytes stay as they are.
      unsigned char fixed[10240];
      std::unique_ptr<unsigned char[]> heap;
      unsigned char* copy = fixed;
      if (len > static_cast<int>(sizeof fixed)) {
        heap.reset(new (std::nothrow) unsigned char[static_cast<size_t>(len)]);
        copy = heap.get();
      }
      if (copy != nullptr) {  // no memory for the copy: nothing written, -1
        memcpy(copy, data, static_cast<size_t>(len));
        encrypt(copy, len);
        result = io_->write(static_cast<const void*>(copy), len);
      }
    } else {
      result = io_->write(data, len);
    }
  }
  return result;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::encrypt(void* data, int len) {
  if (cfg_.encrypt_key == 0 || len < 1 || data == nullptr) return len;
  const unsigned char key = static_cast<unsigned char>(cfg_.encrypt_key & 0xFF);
  unsigned char* bytes = static_cast<unsigned char*>(data);
  for (int i = 0; i < len; ++i) bytes[i] ^= key;
  return len;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::flush() {
  Log_Lock_Guard guard(mutex_);
  if (io_ != nullptr && io_->handle() != nullptr) io_->flush();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::subject(int n, char* buf, int size) const {
  if (buf != nullptr && size > 8)
    snprintf(buf, static_cast<size_t>(size), "%8x", static_cast<unsigned>(n));
  return buf;
}

// Numbers outside 0..31 have no bit in `filter` and always pass.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(int n) const {
  if (n < 0 || n > 31) return 1;
  return (static_cast<uint32_t>(cfg_.filter_) >> n) & 1u;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(const char*) const {
  return 1;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::back_file() {
  if (io_ == nullptr) return 0;  // nothing attached: nothing to rotate or to write into
  const char* name = cfg_.file_name();
  // The backup keeps the log's own name (emptied in place) with overwrite,
  // and also when a dated name would not fit the path buffer: the size
  // limit still holds.
  const char* target = name;
  char backup[KAVRI_LOG::kMaxPath];
  char stamp[KAVRI_LOG::kTimeBufSize];
  if (!cfg_.overwrite() && KAVRI_LOG::backup_name(backup, name, cur_time(stamp, true, false)))
    target = backup;

  char dir[KAVRI_LOG::kMaxPath], pattern[KAVRI_LOG::kMaxPath];
  if (cfg_.max_count() >= 1 && KAVRI_LOG::backup_search(dir, pattern, name))
    KAVRI_LOG::prune_backups(dir, pattern, cfg_.max_count());

  if (cfg_.has_head()) write_tail(false);
  int r = io_->backup(target);
  if (cfg_.has_head()) write_head(false);
  return r;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::check_config() {
  const int32_t now = static_cast<int32_t>(std::time(nullptr));
  // Tested before the lock is taken: read and written atomically.
  if (now - __atomic_load_n(&last_cfg_check, __ATOMIC_RELAXED) <= 10) return 0;
  // The copy and the file read below may throw (no memory): the guard gives
  // the lock back and the exception leaves the record.
  Log_Lock_Guard guard(mutex_);
  struct stat st;
  const int32_t mtime = stat(cfg_.cfg_file(), &st) == 0 ? static_cast<int32_t>(st.st_mtime) : 0;
  if (mtime != cfg_.cfg_mtime) {
    cfg_.cfg_mtime = mtime;
    CFG fresh(cfg_);
    fresh.read_config(nullptr, nullptr);
    // Records of other threads read these without the lock.
    set_live(cfg_.output_, fresh.output_);
    set_live(cfg_.level_, fresh.level_);
    set_live(cfg_.console_level_, fresh.level_);
    set_live(cfg_.flush_always_, fresh.flush_always_);
    set_live(cfg_.style_, fresh.style_);
  }
  __atomic_store_n(&last_cfg_check, now, __ATOMIC_RELAXED);
  return 0;
}

// ---- The record path.

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

namespace KAVRI_LOG {

// Appends a narrow text of the prefix (time stamp, level name) to a line:
// as it stands to a narrow line; to a wide one converted with widen_part(),
// at most kTimeBufSize - 1 characters.
inline void append_narrow(Log_Line<char>& line, const char* text) { line.append(text); }
inline void append_narrow(Log_Line<wchar_t>& line, const char* text) {
  wchar_t wide[kTimeBufSize];
  line.append(widen_part(text, wide, kTimeBufSize));
}

// Appends `subject` cut or padded to 8 characters ("%-8.8s").  A wide line
// gets it converted first, at most 15 characters: the narrow text read as
// wide text in place would run past its end.
inline void append_subject(Log_Line<char>& line, const char* subject) {
  line.append_padded(subject, 8);
}
inline void append_subject(Log_Line<wchar_t>& line, const char* subject) {
  wchar_t name[16];
  line.append_padded(widen_part(subject, name, 16), 8);
}

}  // namespace KAVRI_LOG

// Parts appended piece by piece: the same text as "[%s]", "[Px%04x]",
// "[Tx%04x]" and "[%-8.8s]", without a printf call per part.
template <class IO, class LOCK, class CFG>
template <class CharT>
void Log_Impl_T<IO, LOCK, CFG>::append_prefix(Log_Line<CharT>& line, const char* subject,
                                              LOG_LEVEL level, int style) const {
  if (style & (LOG_STYLE_FULL_TIME | LOG_STYLE_SHORT_TIME)) {
    char stamp[KAVRI_LOG::kTimeBufSize];
    cur_time(stamp, false, (style & LOG_STYLE_FULL_TIME) == 0);
    line.append_char('[');
    KAVRI_LOG::append_narrow(line, stamp);
    line.append_char(']');
  }
  if (style & LOG_STYLE_LEVEL) {
    line.append_char('[');
    KAVRI_LOG::append_narrow(line, level_str(level));
    line.append_char(']');
  }
  if (style & LOG_STYLE_PROCESS) {
    line.append_ascii("[Px");
    line.append_hex4(static_cast<unsigned>(KAVRI_LOG::process_id()));
    line.append_char(']');
  }
  if (style & LOG_STYLE_THREAD) {
    line.append_ascii("[Tx");
    line.append_hex4(KAVRI_LOG::thread_id());
    line.append_char(']');
  }
  if ((style & LOG_STYLE_SUBJECT) && subject != nullptr) {
    line.append_char('[');
    KAVRI_LOG::append_subject(line, subject);
    line.append_char(']');
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
  append_prefix(line, subject, level, style);
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
  append_prefix(line, subject, level, style);
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

#endif  // TAVN_LOG_LOG_IMPL_INL_H_
