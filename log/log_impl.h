// Log_Impl_T<IO, LOCK, CFG>: the logger object.  It keeps a live copy of
// its configuration (CFG, a Log_Cfg_T), writes through an output object
// (IO, a Log_IO_FILE type) and brackets every file operation with its lock
// (a Log_Mutex; the logger creates a LOCK when the output object has none).
//
// Ownership: the logger closes and deletes io_ and mutex_ only when it
// created them (own_io_, own_mutex_); objects handed in by a caller stay
// the caller's and must outlive their use by the logger.
//
// Thread safety: level calls and log_msg_i may run on any thread.  Only the
// file section of a record holds the lock, so formatting and the console
// echo of different threads run in parallel (console lines may interleave);
// with this library's LOCK (Log_Win32_Process_Mutex, one process-local
// mutex) file operations of parallel threads exclude each other.  Every
// lock is taken through a scoped guard, so it is given back on every path,
// exceptions included.  The settings that the configuration re-check
// changes while records are written (output, level, console level, style,
// flush) are written under the lock with atomic stores and read by the
// record path with atomic loads (live()).  open() and close() must not race
// with logging; Log_Singleton keeps records off a logger being released.
//
// Stack: the large buffers of a record (message, line, conversions) are the
// thread's Log_Scratch buffers, so a record needs only a few KB of stack.
//
// This header declares the class; log/log_impl-inl.h defines its members.
// The logger type of this library is compiled once (log/log_impl.cpp, see
// the end of this header); code that uses a Log_Impl_T of other types
// includes log/log_impl-inl.h as well.
#ifndef TAVN_LOG_LOG_IMPL_H_
#define TAVN_LOG_LOG_IMPL_H_

#include <cstdarg>
#include <cstdint>

#include "log/log_cfg.h"
#include "log/log_io.h"
#include "log/log_level.h"
#include "log/log_mutex.h"
#include "log/log_os.h"

template <class CharT>
class Log_Line;

template <class IO, class LOCK, class CFG>
class Log_Impl_T {
 public:
  // Default configuration; no output object, no lock.
  Log_Impl_T() = default;
  Log_Impl_T(const Log_Impl_T&) = delete;
  Log_Impl_T& operator=(const Log_Impl_T&) = delete;
  // Closes the logger (tail block, owned file and lock).
  virtual ~Log_Impl_T() { close(); }

  // Closes, then takes the settings of io->config() (when there is one) and
  // of `cfg` (when given; it wins), applies the locale, attaches io's lock
  // or creates a LOCK named after the title, and, when `output` has bit 1,
  // attaches `io` as it is or creates and opens the log file (directory
  // included) and writes the head block.  `param` goes to the file's open.
  // Returns 0, or the output object's open error (the object stays
  // attached, closed).
  virtual int open(const CFG* cfg, IO* io, void* param);
  // Writes the tail block into an owned file, closes and deletes it, and
  // frees an owned lock.  A caller's output object stays open and attached.
  // Returns 0.
  virtual int close();
  // Take and give back the lock.  The lock's result; -1 without a lock.
  virtual int lock(int timeout) { return mutex_ != nullptr ? mutex_->acquire(timeout) : -1; }
  virtual int unlock() { return mutex_ != nullptr ? mutex_->release() : -1; }
  // Build one record from `msg` and write it to the file and/or console.
  // `subject` may be null (no subject); `style` 0 uses the configured style.
  // Lines are cut to 40959 bytes (narrow) or 66559 wide characters, keeping
  // room for the line break the style asks for.  Exceptions from the file
  // section are caught and reported on standard output.
  virtual void log_msg_i(const char* subject, LOG_LEVEL level, int style, const char* msg);
  virtual void log_msg_i(const char* subject, LOG_LEVEL level, int style, const wchar_t* msg);
  // Writes `len` raw bytes under the lock, scrambling a copy when a key is
  // set (the caller's bytes are never changed).  The output object's result;
  // -1 without one.
  virtual int write(const void* data, int len);
  // Writes a separator line of 80 `c` and a line break, unscrambled and not
  // counted against max_size.  Returns 0 (also when no file is open).
  virtual int write_bound(char c);
  // Writes `n` with "%8x" into `buf` when `buf` is non-null and `size` is
  // above 8.  Returns `buf`.
  virtual char* subject(int n, char* buf, int size) const;
  // Name of a level (see KAVRI_LOG::level_name).
  virtual const char* level_str(int level) const { return KAVRI_LOG::level_name(level); }
  // XORs each of `len` bytes with the key's low 8 bits when the key is
  // non-zero.  Returns `len`.
  virtual int encrypt(void* data, int len);
  // 1 when subject `n` is let through: bit n of `filter`, always 1 for n
  // outside 0..31.
  virtual int sub_output(int n) const;
  // Subject names are not filtered: always 1.
  virtual int sub_output(const char* name) const;
  // Head and tail blocks ("Created"/"Continued", "End"/"Continue"); nothing
  // when style is "none".  The caller holds the lock and io_ is attached.
  virtual void write_head(bool created);
  virtual void write_tail(bool end);
  // Rotation of the log file; called under the lock when a record would
  // push the file past max_size.  Moves the full log aside under a dated
  // backup name (or empties it in place with overwrite, or when a dated
  // name would not fit the path buffer), first deleting an old backup when
  // max_count or more exist.  The old file gets a "Continue" tail and the
  // fresh one a "Continued" head.  Returns the output object's backup()
  // result; 0 without an output object.
  virtual int back_file();
  // Current time stamp into `buf` (at least 128 bytes); returns `buf`.
  virtual char* cur_time(char* buf, bool file_form, bool time_only) const {
    return KAVRI_LOG::format_time(buf, file_form, time_only);
  }
  // Follows changes of the configuration file; runs first for every record.
  // At most once in 11 seconds, and only when the file's modification time
  // changed (its disappearing included), re-reads the file and takes
  // output, level, style and flush from it; console_level takes the new
  // level, on purpose.  All other settings stay as opened.  The interval is
  // tested without the lock, the rest runs under it.  Returns 0; an
  // exception from the re-read (no memory) leaves with the lock given back.
  virtual int check_config();

  // Flushes the file under the lock.
  void flush();

  // printf-style records at one level each.  Nothing is formatted unless
  // the level is enabled; messages are cut to 40959 bytes.  log_warn and
  // log_error flush afterwards.
  void log_trace(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void log_info(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void log_verbose(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void log_warn(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  void log_error(const char* fmt, ...) __attribute__((format(printf, 2, 3)));

  // Fields are public only for the tests, which read them and set up
  // situations (a size limit, a check time) directly; the library itself
  // reaches them only through the members above.  A test changes them only
  // while no other thread logs.
  CFG cfg_;                     // live configuration
  IO* io_ = nullptr;            // output object, null when none is attached
  bool own_io_ = true;          // io_ was created here: close and delete it
  Log_Mutex* mutex_ = nullptr;  // lock around every file operation
  bool own_mutex_ = false;      // mutex_ was created here: close and free it
  int32_t last_cfg_check = 0;   // time of the last configuration check

 private:
  // The file section of a record, under the lock: the size check (rotating
  // first when the record would pass max_size of `len` units), the write,
  // and the flush.  With a scramble key the first `len` bytes of `line` are
  // scrambled in place and written raw with the terminating zero that
  // follows (part of the scrambled format; a wide line is cut short so, by
  // design); otherwise `write_plain()` writes it.  Exceptions there are
  // reported on standard output as `failure`.
  template <class WRITE>
  void write_record(void* line, int len, WRITE write_plain, const char* failure);
  // Appends the prefix parts that `style` selects (time stamp, level,
  // process, thread, subject) to a narrow or a wide line; the same text in
  // both forms.
  template <class CharT>
  void append_prefix(Log_Line<CharT>& line, const char* subject, LOG_LEVEL level, int style) const;
  // Writes narrow text to the file: converted to wide when charset is 2.
  int write_text(const char* text);
  // The conversion, into the thread's wide scratch buffer.
  int write_widened(const char* text);
  // A setting that the configuration re-check may change while records are
  // written: read and written atomically.
  template <class T>
  static T live(const T& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
  }
  template <class T>
  static void set_live(T& field, T value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
  }
  // Formats and hands over one record of a level entry point.
  void log_level_v(LOG_LEVEL level, const char* fmt, va_list ap);
};

// The logger of this library (the front end's process-wide logger, which
// the tests and benchmarks use too), compiled once in log/log_impl.cpp.
extern template class Log_Impl_T<
    Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>,
    Log_Win32_Process_Mutex, Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>>;

#endif  // TAVN_LOG_LOG_IMPL_H_
