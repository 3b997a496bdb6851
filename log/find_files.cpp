#include "log/find_files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "log/log_os.h"
#include "log/match_string.h"

namespace KAVRI_LOG {

namespace {

// Patterns up to this length are copied to the stack; longer ones to the
// heap.  Both copies leave room for the terminator.
constexpr std::size_t kLocalPattern = 300;

struct DirCloser {
  void operator()(DIR* d) const { closedir(d); }
};

// Length of `dir` once its separators are normalised; a text too long for
// the path buffer keeps its own length (none of its entries fit anyway).
std::size_t normalized_length(const char* dir) {
  char buf[kMaxPath];
  const int n = std::snprintf(buf, sizeof buf, "%s", dir);
  if (n < 0 || static_cast<std::size_t>(n) >= sizeof buf) return std::strlen(dir);
  normalize_separators(buf);
  return std::strlen(buf);
}

// One directory level.  `pat` is the caller's writable pattern copy (null
// when there is no pattern); `dir_len` the normalised length of `dir`.
int search(const char* dir, std::size_t dir_len, char* pat, std::list<std::string>& found,
           bool recursive) {
  std::unique_ptr<DIR, DirCloser> d(opendir(dir));
  if (!d) return errno;

  while (const dirent* e = readdir(d.get())) {
    if (std::strcmp(e->d_name, ".") == 0 || std::strcmp(e->d_name, "..") == 0) continue;
    if (pat == nullptr) continue;  // a null pattern finds nothing
    if (!match_string_i(pat, e->d_name)) continue;

    char path[kMaxPath];
    const int n = std::snprintf(path, sizeof path, "%s%s", dir, e->d_name);
    if (n < 0 || static_cast<std::size_t>(n) >= sizeof path) {
      // Too long for the path buffer: refused like an entry stat() fails on.
      errno = ENAMETOOLONG;
      return -1;
    }
    normalize_separators(path);

    struct stat st;
    if (stat(path, &st) != 0) return -1;
    // S_ISDIR rather than a bare bit test: block devices and sockets also
    // carry the directory bit and must not be searched.
    if (S_ISDIR(st.st_mode)) {
      const std::size_t len = std::strlen(path);
      // A name made only of backslashes collapses into the directory being
      // searched; searching it again would never end.  Every real descent
      // lengthens the path, so the depth is bounded by the buffer size.
      if (len <= dir_len) continue;
      const int r = search(path, len, pat, found, recursive);
      if (r != 0) return r;
    } else {
      found.push_back(path);
    }
  }
  return 0;
}

}  // namespace

int find_files(const char* dir, const char* pattern, std::list<std::string>& found,
               bool recursive) {
  if (dir == nullptr) return EINVAL;

  // Writable copy of the pattern: match_string_i() edits it for a moment.
  char local[kLocalPattern + 1];
  std::unique_ptr<char[]> heap;
  char* pat = nullptr;
  if (pattern != nullptr) {
    const std::size_t len = std::strlen(pattern);
    if (len <= kLocalPattern) {
      pat = local;
    } else {
      heap.reset(new char[len + 1]);
      pat = heap.get();
    }
    std::memcpy(pat, pattern, len + 1);
  }
  return search(dir, normalized_length(dir), pat, found, recursive);
}

}  // namespace KAVRI_LOG
