// Shared by the tests of every folder: a private temporary folder, whole-file
// reads and writes, and little-endian reads of byte buffers.
#ifndef TAVN_TESTS_SUPPORT_TEST_SUPPORT_H_
#define TAVN_TESTS_SUPPORT_TEST_SUPPORT_H_

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

// A fresh folder under /tmp, removed with its contents at scope end; not
// copied.  A folder that cannot be made throws (the test fails there); one
// that cannot be removed fails the running test.
class Temp_Dir {
 public:
  Temp_Dir() {
    char tmpl[] = "/tmp/tavn_test_XXXXXX";
    if (mkdtemp(tmpl) == nullptr)
      throw std::runtime_error(std::string("cannot make a temporary folder: ") + std::strerror(errno));
    path_ = tmpl;
  }
  Temp_Dir(const Temp_Dir&) = delete;
  Temp_Dir& operator=(const Temp_Dir&) = delete;
  ~Temp_Dir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
    if (ec) ADD_FAILURE() << "cannot remove " << path_ << ": " << ec.message();
  }
  const std::string& path() const { return path_; }
  // Path of `name` in the folder; "" gives the folder with a final "/".
  std::string file(const std::string& name = "") const { return path_ + "/" + name; }
  // Writes `text` into `name` and returns its path.
  std::string write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

inline bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// The whole file; empty when it cannot be read.
inline std::vector<uint8_t> read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void write_file(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string Temp_Dir::write(const std::string& name, const std::string& text) const {
  write_file(file(name), text);
  return file(name);
}

// Occurrences of `needle` in `hay`.
inline size_t count(const std::string& hay, const std::string& needle) {
  size_t n = 0;
  for (size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1)) ++n;
  return n;
}

// The little-endian 32-bit number at byte `at` of `b`.
inline uint32_t le32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

// Standard output of a shell command (add 2>&1 for its errors too); its exit
// status in *status, -1 when it did not exit.
inline std::string run_command(const std::string& command, int* status = nullptr) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  char buf[4096];
  for (size_t n; p != nullptr && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int s = p == nullptr ? -1 : pclose(p);
  if (status != nullptr) *status = s != -1 && WIFEXITED(s) ? WEXITSTATUS(s) : -1;
  return out;
}

#endif  // TAVN_TESTS_SUPPORT_TEST_SUPPORT_H_
