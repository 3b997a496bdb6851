// The output object the logger writes through: the interface Log_IO, its
// implementation on a stdio stream Log_IO_FILE, and Log_Uni_Type, which
// gives each logger an output type of its own.
//
// No virtual destructor in Log_IO: implementations declare their own, and
// owners delete them through the implementation's type.  None of the
// operations locks anything; the logger holds its lock around every call.
#ifndef TAVN_LOG_LOG_IO_H_
#define TAVN_LOG_LOG_IO_H_

#include <cstdio>
#include <string>

class Log_Cfg;
class Log_Mutex;

class Log_IO {
 public:
  // Opens the output `name`; `mode` selects how (see Log_IO_FILE), `mutex`
  // is remembered (not owned).  Returns 0 or an error number.
  virtual int open(const char* name, Log_Mutex* mutex, int mode, void* param) = 0;
  // Closes the output.  Returns 0.
  virtual int close() = 0;
  // Appends narrow text; returns a non-negative value on success, 0 when
  // closed.
  virtual int write(const char* text) = 0;
  // Appends wide text; returns a non-negative value on success, 0 when
  // closed.
  virtual int write(const wchar_t* text) = 0;
  // Appends `len` raw bytes; returns the count written, 0 when closed.
  virtual int write(const void* data, int len) = 0;
  // Truncates the output to length 0.  Returns 0, -1 when closed.
  virtual int empty() = 0;
  // Pushes buffered output to the system.  Returns 0.
  virtual int flush() = 0;
  // Current length in bytes; 0 when closed.
  virtual int size() const = 0;
  // Moves the current output aside under `name` and starts a fresh one.
  // Returns 0 or an error number.
  virtual int backup(const char* name) = 0;
  // The underlying stream, null when closed.
  virtual FILE* handle() const = 0;
  // The lock handed to open() or mutex(Log_Mutex*); not owned.
  virtual Log_Mutex* mutex() const = 0;
  virtual void mutex(Log_Mutex* m) = 0;
  // A configuration the output object carries for the logger; not owned.
  virtual Log_Cfg* config() const = 0;
  virtual void config(Log_Cfg* cfg) = 0;

 protected:
  ~Log_IO() = default;
};

// Log_IO_FILE: a log file held as a stdio stream, always appended to.
//
// The lock and configuration pointers are not owned.  Not thread-safe by
// itself: the logger calls it under its lock.  A closed object (before
// open(), after close()) accepts every call: writes and size() return 0,
// empty() returns -1.
class Log_IO_FILE : public Log_IO {
 public:
  Log_IO_FILE() = default;
  Log_IO_FILE(const Log_IO_FILE&) = delete;
  Log_IO_FILE& operator=(const Log_IO_FILE&) = delete;

  // Opens `name` for appending, creating it with permissions 0664.  `mode`
  // picks the stream mode: 1 "a+b", 2 "wt", 3 "wb", anything else "a+t";
  // none of them truncates an existing file.  In mode 0 a file whose last
  // byte is not a line feed gets one first.  `param` is ignored.  On success
  // an earlier stream of this object is closed.  Returns 0, or errno with
  // nothing changed.
  int open(const char* name, Log_Mutex* mutex, int mode, void* param) override;
  // Closes the stream if open.  Returns 0.
  int close() override;
  // Every write appends at the file's end (the descriptor is in append
  // mode).  Text is buffered until the next size(), flush() or close().
  // Narrow text: fputs's result.
  int write(const char* text) override;
  // Wide text is converted under the current locale and appended as bytes,
  // so narrow and wide writes mix freely on one file.  Returns 1, or -1
  // when a character cannot be converted (the text before it is written).
  int write(const wchar_t* text) override;
  // Returns the number of bytes written; 0 for a null or empty payload.
  int write(const void* data, int len) override;
  // Truncates the file to length 0 (the stream stays open); text still
  // buffered is cut with the rest.  Returns 0, or -1 when closed or the
  // truncation fails.
  int empty() override;
  // Flushes the stream's buffer.  Returns 0, or EOF when flushing fails.
  int flush() override;
  // The file's length in bytes (at most INT_MAX), buffered text included
  // (it is flushed); the stream position is left where it was.
  int size() const override;
  // With `name` equal to the open file's name ignoring case, empties the
  // file in place and returns empty()'s result.  Otherwise closes,
  // renames the file to `name` (a failed rename is ignored) and reopens
  // the old name in mode 0 with the same lock; returns that open's result.
  // A null `name` changes nothing and returns EINVAL.
  int backup(const char* name) override;
  FILE* handle() const override;
  Log_Mutex* mutex() const override;
  void mutex(Log_Mutex* m) override;
  Log_Cfg* config() const override;
  void config(Log_Cfg* cfg) override;

  // Closes the stream if open.
  virtual ~Log_IO_FILE();

  // The path given to the last successful open().
  const std::string& file_name() const { return file_name_; }

 private:
  FILE* stream_ = nullptr;
  std::string file_name_;
  Log_Mutex* mutex_ = nullptr;
  Log_Cfg* config_ = nullptr;
};

// Log_Uni_Type<BASE, TOKEN>: BASE under a type of its own, one per logger,
// told apart by an empty tag type.  Adds no fields and no behaviour.
template <class BASE, class TOKEN>
class Log_Uni_Type : public BASE {
 public:
  using BASE::BASE;
};

// Tag of this library's logger output type,
// Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>.
struct __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__ {};

#endif  // TAVN_LOG_LOG_IO_H_
