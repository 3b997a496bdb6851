// A private temporary directory for one test, removed with its contents.
#ifndef TAVN_TESTS_LOG_TEST_CFG_TMPDIR_H_
#define TAVN_TESTS_LOG_TEST_CFG_TMPDIR_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

class TmpDir {
 public:
  TmpDir() {
    const char* base = getenv("TMPDIR");
    std::string tmpl = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                       "/tavn-logcfg-XXXXXX";
    if (mkdtemp(&tmpl[0]) != nullptr) dir_ = tmpl;
  }
  ~TmpDir() {
    std::error_code ec;
    if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
  }
  TmpDir(const TmpDir&) = delete;
  TmpDir& operator=(const TmpDir&) = delete;

  // Path of `name` inside the directory ("" gives the directory itself).
  std::string path(const std::string& name = "") const { return dir_ + "/" + name; }
  // Writes `contents` to `name` (binary) and returns its path.
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream(path(name), std::ios::binary) << contents;
    return path(name);
  }
  std::string mkdir(const std::string& name) const {
    std::filesystem::create_directories(path(name));
    return path(name);
  }

 private:
  std::string dir_;
};

#endif  // TAVN_TESTS_LOG_TEST_CFG_TMPDIR_H_
