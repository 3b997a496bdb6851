// Helpers shared by the front-end tests.
#ifndef TAVN_TESTS_SYNTH_TEST_UTIL_H_
#define TAVN_TESTS_SYNTH_TEST_UTIL_H_

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// A fresh temporary directory, removed with its contents at scope end.
class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/tavn-test-XXXXXX";
    path_ = mkdtemp(tmpl);
  }
  ~TempDir() { std::system(("rm -rf '" + path_ + "'").c_str()); }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

inline std::vector<uint8_t> read_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline std::string slurp(const std::string& path) {
  std::vector<uint8_t> b = read_bytes(path);
  return std::string(b.begin(), b.end());
}

// Occurrences of `needle` in `hay`.
inline size_t count(const std::string& hay, const std::string& needle) {
  size_t n = 0;
  for (size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1)) ++n;
  return n;
}

inline void write_text(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline uint32_t le32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}

#endif  // TAVN_TESTS_SYNTH_TEST_UTIL_H_
