// Shared by the logger core tests: the logger type, a scratch directory,
// file access and standard-output capture.
#ifndef TAVN_TESTS_LOG_LOG_CORE_TEST_UTIL_H_
#define TAVN_TESTS_LOG_LOG_CORE_TEST_UTIL_H_

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "log/log_cfg.h"
#include "log/log_cfg_heap.h"
#include "log/log_impl.h"
#include "log/log_io_file.h"
#include "log/log_uni_type.h"
#include "log/log_win32_process_mutex.h"

using Test_Cfg = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;
using Test_IO = Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>;
using Test_Logger = Log_Impl_T<Test_IO, Log_Win32_Process_Mutex, Test_Cfg>;

// A fresh directory under /tmp, removed with its contents.
struct Temp_Dir {
  Temp_Dir() {
    char tmpl[] = "/tmp/tavn_logcore_XXXXXX";
    path = mkdtemp(tmpl);
  }
  ~Temp_Dir() { std::filesystem::remove_all(path); }
  std::string file(const std::string& name) const { return path + "/" + name; }
  std::string path;
};

inline std::string read_file(const std::string& path) {
  std::stringstream ss;
  ss << std::ifstream(path, std::ios::binary).rdbuf();
  return ss.str();
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// Sends standard output into a file until text() is called.
class Stdout_Capture {
 public:
  Stdout_Capture() : file_(dir_.file("stdout")) {
    fflush(stdout);
    saved_ = dup(1);
    const int fd = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fd, 1);
    ::close(fd);
  }
  ~Stdout_Capture() { restore(); }
  std::string text() {
    restore();
    return read_file(file_);
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    fflush(stdout);
    dup2(saved_, 1);
    ::close(saved_);
    saved_ = -1;
  }
  Temp_Dir dir_;
  std::string file_;
  int saved_ = -1;
};

// A configuration writing every level to `file` with a known title.
inline Test_Cfg make_cfg(const std::string& file, int style = 255) {
  Test_Cfg cfg;
  cfg.file_name_ = file;
  cfg.title_ = "Unit Log";
  cfg.level_ = cfg.console_level_ = -1;
  cfg.style_ = style;
  cfg.locale_ = "skip";
  return cfg;
}

#endif  // TAVN_TESTS_LOG_LOG_CORE_TEST_UTIL_H_
