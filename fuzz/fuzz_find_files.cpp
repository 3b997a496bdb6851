// Backup file search with fuzzed patterns over a small fixed tree, which
// holds backups, other files, a matching directory whose nested names run
// together, and a directory named by a single backslash.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <string>

#include "fuzz/fuzz_tmp.h"
#include "log/find_files.h"

namespace {

std::string g_root;

void check(bool ok) {
  if (!ok) abort();
}

void touch(const std::string& name) {
  std::FILE* f = std::fopen((g_root + name).c_str(), "wb");
  if (f == nullptr) abort();
  std::fclose(f);
}

void make_dir(const std::string& name) {
  if (mkdir((g_root + name).c_str(), 0755) != 0) abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_root = fuzz_tmp_make();
  touch("tavn_2026-11-15_12-00-00.log");
  touch("tavn_2026-11-15_12-00-01.log");
  touch("tavn.log");
  touch("other.txt");
  make_dir("tavn_d.log");
  touch("tavn_d.log/tavn_e.log");
  touch("tavn_d.logtavn_e.log");
  make_dir("sub");
  touch("sub/a");
  touch("suba");
  make_dir("\\");
  touch("\\/x.log");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string pattern(reinterpret_cast<const char*>(data), size);
  std::list<std::string> found;
  const int rc = KAVRI_LOG::find_files(g_root.c_str(), pattern.c_str(), found, false);
  check(rc == 0 || rc == -1);
  check(found.size() <= 32);
  for (const std::string& path : found) {
    check(path.compare(0, g_root.size(), g_root) == 0);
    struct stat st;
    check(stat(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode));
  }
  return 0;
}
