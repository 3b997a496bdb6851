// Backup file search with fuzzed patterns over a small fixed tree, which
// holds backups, other files, a matching directory whose nested names run
// together, and a directory named by a single backslash.
#include <sys/stat.h>

#include <cstdio>
#include <list>

#include "fuzz/fuzz_tmp.h"
#include "log/find_files.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // A name ending in "/" is a directory.
  for (const std::string name :
       {"tavn_2026-11-15_12-00-00.log", "tavn_2026-11-15_12-00-01.log", "tavn.log", "other.txt",
        "tavn_d.log/", "tavn_d.log/tavn_e.log", "tavn_d.logtavn_e.log", "sub/", "sub/a", "suba",
        "\\/", "\\/x.log"}) {
    const std::string path = fuzz_tmp_make() + name;
    std::FILE* f = nullptr;
    check(name.back() == '/' ? mkdir(path.c_str(), 0755) == 0
                             : (f = std::fopen(path.c_str(), "wb")) != nullptr);
    if (f != nullptr) std::fclose(f);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string pattern(reinterpret_cast<const char*>(data), size), &root = fuzz_tmp_make();
  std::list<std::string> found;
  const int rc = KAVRI_LOG::find_files(root.c_str(), pattern.c_str(), found, false);
  check((rc == 0 || rc == -1) && found.size() <= 32);
  for (const std::string& path : found) {
    struct stat st;
    check(path.compare(0, root.size(), root) == 0 && stat(path.c_str(), &st) == 0 &&
          !S_ISDIR(st.st_mode));
  }
  return 0;
}
