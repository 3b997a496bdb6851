// A scratch directory for one fuzzing process, removed at exit.
#ifndef TAVN_FUZZ_FUZZ_TMP_H_
#define TAVN_FUZZ_FUZZ_TMP_H_

#include <stdlib.h>

#include <filesystem>
#include <string>

inline std::string& fuzz_tmp_dir() {
  static std::string dir;
  return dir;
}

inline void fuzz_tmp_remove() {
  std::error_code ec;
  if (!fuzz_tmp_dir().empty()) std::filesystem::remove_all(fuzz_tmp_dir(), ec);
}

// Creates the directory once; returns its path with a trailing "/".  Aborts
// when no directory can be made: fuzzing without it would prove nothing.
inline const std::string& fuzz_tmp_make() {
  if (fuzz_tmp_dir().empty()) {
    const char* base = getenv("TMPDIR");
    std::string tmpl =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tavn-fuzz-XXXXXX";
    if (mkdtemp(&tmpl[0]) == nullptr) abort();
    fuzz_tmp_dir() = tmpl + "/";
    atexit(fuzz_tmp_remove);
  }
  return fuzz_tmp_dir();
}

#endif  // TAVN_FUZZ_FUZZ_TMP_H_
