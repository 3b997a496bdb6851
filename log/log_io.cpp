#include "log/log_io.h"

#include "log/large_file.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <strings.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <cwchar>

namespace {

const char* stream_mode(int mode) {
  switch (mode) {
    case 1: return "a+b";
    case 2: return "wt";
    case 3: return "wb";
    default: return "a+t";
  }
}

// errno as a failure result; a failing call that left errno at 0 must still
// not read as success.
int failure(int fallback) { return errno != 0 ? errno : fallback; }

}  // namespace

Log_IO_FILE::~Log_IO_FILE() { close(); }

int Log_IO_FILE::open(const char* name, Log_Mutex* mutex, int mode, void*) {
  if (name == nullptr) return EINVAL;
  errno = 0;
  const int fd = ::open(name, O_RDWR | O_CREAT | O_APPEND, 0664);
  if (fd <= 0) {
    const int err = failure(EBADF);
    if (fd == 0) ::close(fd);  // descriptor 0 counts as a failure; don't leak it
    return err;
  }
  FILE* f = fdopen(fd, stream_mode(mode));
  if (f == nullptr) {
    const int err = failure(ENOMEM);
    ::close(fd);  // the stream never took the descriptor over
    return err;
  }
  // The descriptor already exists, so the "w" modes keep the file: every
  // mode appends.
  if (fseeko(f, 0, SEEK_END) == 0 && mode == 0 && ftello(f) > 0) {
    // Text mode: a file left without a final line feed gets one, so this
    // run's first line starts on a line of its own.
    if (fseek(f, -1, SEEK_END) == 0 && fgetc(f) != '\n') {
      fseek(f, 0, SEEK_END);
      fputc('\n', f);
    }
    fseek(f, 0, SEEK_END);
  }
  // An object opened twice gives up its earlier stream instead of leaking it.
  if (stream_ != nullptr) fclose(stream_);
  stream_ = f;
  mutex_ = mutex;
  file_name_ = name;
  return 0;
}

int Log_IO_FILE::close() {
  if (stream_ != nullptr) {
    fclose(stream_);
    stream_ = nullptr;
  }
  return 0;
}

// The descriptor is in append mode, so every write lands at the file's end
// wherever the stream stands; a seek would only add a stat, a seek and a
// read of the file's last block per call.
int Log_IO_FILE::write(const char* text) {
  if (stream_ == nullptr || text == nullptr) return 0;
  return fputs(text, stream_);
}

int Log_IO_FILE::write(const wchar_t* text) {
  if (stream_ == nullptr || text == nullptr) return 0;
  // Converted here rather than with fputws: a wide write would fix the
  // stream's orientation, after which every narrow write is dropped.
  char chunk[512];
  size_t used = 0;
  std::mbstate_t state{};
  for (const wchar_t* p = text; *p != L'\0'; ++p) {
    if (used + MB_LEN_MAX > sizeof chunk) {
      fwrite(chunk, 1, used, stream_);
      used = 0;
    }
    const size_t n = wcrtomb(chunk + used, *p, &state);
    if (n == static_cast<size_t>(-1)) {
      fwrite(chunk, 1, used, stream_);
      return -1;
    }
    used += n;
  }
  if (used > 0 && fwrite(chunk, 1, used, stream_) != used) return -1;
  return 1;
}

int Log_IO_FILE::write(const void* data, int len) {
  if (stream_ == nullptr || data == nullptr || len <= 0) return 0;
  return static_cast<int>(fwrite(data, 1, static_cast<size_t>(len), stream_));
}

// Text still buffered belongs to the old contents: it is pushed out first,
// so it is cut with them rather than landing in the emptied file later.
int Log_IO_FILE::empty() {
  if (stream_ == nullptr) return -1;
  fflush(stream_);
  return ftruncate(fileno(stream_), 0) == 0 ? 0 : -1;
}

int Log_IO_FILE::flush() {
  if (stream_ == nullptr) return 0;
  return fflush(stream_);
}

// Buffered text is pushed out first, as a seek to the end would; the size is
// then the end's offset on the descriptor.  After appending buffered text
// the stream already stands at the end, so one seek suffices; otherwise the
// stream may have been moved through handle(), and its position is taken
// and restored around the seek.  (A stat here costs several times a seek.)
int Log_IO_FILE::size() const {
  if (stream_ == nullptr) return 0;
  const int fd = fileno(stream_);
  const bool appended = __fpending(stream_) > 0;
  fflush(stream_);
  off_t end;
  if (appended) {
    end = lseek(fd, 0, SEEK_END);
  } else {
    const off_t pos = lseek(fd, 0, SEEK_CUR);
    end = lseek(fd, 0, SEEK_END);
    if (pos >= 0 && end != pos) lseek(fd, pos, SEEK_SET);
  }
  if (end < 0) return 0;
  return end > INT_MAX ? INT_MAX : static_cast<int>(end);
}

int Log_IO_FILE::backup(const char* name) {
  if (name == nullptr) return EINVAL;
  if (stream_ != nullptr && strcasecmp(name, file_name_.c_str()) == 0) return empty();
  const std::string current = file_name_;
  close();
  rename(current.c_str(), name);  // on failure the file is reopened and keeps growing
  return open(current.c_str(), mutex_, 0, nullptr);
}

FILE* Log_IO_FILE::handle() const { return stream_; }

Log_Mutex* Log_IO_FILE::mutex() const { return mutex_; }

void Log_IO_FILE::mutex(Log_Mutex* m) { mutex_ = m; }

Log_Cfg* Log_IO_FILE::config() const { return config_; }

void Log_IO_FILE::config(Log_Cfg* cfg) { config_ = cfg; }
