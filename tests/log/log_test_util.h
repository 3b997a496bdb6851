// Shared by the logger tests: the logger types, a logging configuration, a
// logger opened on a file in a temporary folder and a folder's file names.
#ifndef TAVN_TESTS_LOG_LOG_TEST_UTIL_H_
#define TAVN_TESTS_LOG_LOG_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "log/log_cfg.h"
#include "log/log_impl.h"
#include "log/log_io.h"
#include "log/log_mutex.h"
#include "tests/support/test_support.h"

using Test_Cfg = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;
using Test_IO = Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>;
using Test_Logger = Log_Impl_T<Test_IO, Log_Win32_Process_Mutex, Test_Cfg>;

using Names = std::vector<std::string>;

// Names in `dir` (one level), sorted.
inline Names names(const std::string& dir) {
  Names out;
  for (const auto& e : std::filesystem::directory_iterator(dir)) out.push_back(e.path().filename());
  std::sort(out.begin(), out.end());
  return out;
}

// A configuration writing every level to `file` with the title "Unit Log".
inline Test_Cfg make_cfg(const std::string& file) {
  Test_Cfg cfg;
  cfg.file_name_ = file, cfg.title_ = "Unit Log", cfg.locale_ = "skip";
  cfg.level_ = cfg.console_level_ = -1;
  cfg.style_ = 255;
  return cfg;
}

// A logger of type `Logger` opened on `name` in a fresh directory, with the
// settings of make_cfg() changed by `setup`.
template <class Logger = Test_Logger>
struct Opened_Logger {
  explicit Opened_Logger(const std::function<void(Test_Cfg&)>& setup = nullptr, const std::string& name = "run.log")
      : cfg(make_cfg(dir.file(name))) {
    if (setup) setup(cfg);
    EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
  }
  std::string text() const { return read_file(cfg.file_name_); }
  Temp_Dir dir;
  Test_Cfg cfg;
  Logger log;
};

#endif  // TAVN_TESTS_LOG_LOG_TEST_UTIL_H_
