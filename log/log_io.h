// Log_IO: the output object the logger writes through.  Log_IO_FILE is the
// implementation on a stdio stream.
//
// No virtual destructor: implementations declare their own, and owners
// delete them through the implementation's type.  None of the operations
// locks anything; the logger holds its lock around every call.
#ifndef TAVN_LOG_LOG_IO_H_
#define TAVN_LOG_LOG_IO_H_

#include <cstdio>

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

#endif  // TAVN_LOG_LOG_IO_H_
