// Shared by the fuzz targets: a check that aborts, the split of an input at
// its first line break, and a scratch directory.
#ifndef TAVN_FUZZ_FUZZ_TMP_H_
#define TAVN_FUZZ_FUZZ_TMP_H_

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

inline void check(bool ok) {
  if (!ok) abort();
}

// {text before the first line break, text after it}; without one, {all, ""}.
inline std::pair<std::string, std::string> split_input(const uint8_t* data, size_t size) {
  const std::string in(reinterpret_cast<const char*>(data), size);
  const size_t nl = in.find('\n');
  return nl == std::string::npos ? std::make_pair(in, std::string())
                                 : std::make_pair(in.substr(0, nl), in.substr(nl + 1));
}

// A directory made once per process and removed at exit; the path ends in
// "/".  Aborts when none can be made: fuzzing without it would prove nothing.
inline const std::string& fuzz_tmp_make() {
  static std::string dir;
  if (dir.empty()) {
    const char* base = getenv("TMPDIR");
    std::string tmpl =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tavn-fuzz-XXXXXX";
    if (mkdtemp(&tmpl[0]) == nullptr) abort();
    dir = tmpl + "/";
    atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(dir, ec);
    });
  }
  return dir;
}

#endif  // TAVN_FUZZ_FUZZ_TMP_H_
