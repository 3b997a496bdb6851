#include "log/path_norm.h"

#include <cstring>

namespace KAVRI_LOG {

namespace {

bool is_sep(char c) { return c == '/' || c == '\\'; }

bool starts_with_two_backslashes(const char* t, std::size_t len) {
  return len >= 2 && t[0] == '\\' && t[1] == '\\';
}

// Rewrites t[0, len) in place and returns the new length.  The compacted
// text is written behind the read position, so it never overtakes it.
std::size_t collapse_separators(char* t, std::size_t len) {
  const std::size_t start = starts_with_two_backslashes(t, len) ? 2 : 0;
  std::size_t out = start;
  bool prev_sep = false;
  bool dropped = false;
  for (std::size_t in = start; in < len; ++in) {
    const bool sep = is_sep(t[in]);
    if (sep && prev_sep) {
      dropped = true;
      continue;
    }
    t[out++] = sep ? '/' : t[in];
    prev_sep = sep;
  }
  if (dropped && start != 0) {
    // A run was collapsed: the text becomes the scanned part alone.
    std::memmove(t, t + start, out - start);
    out -= start;
  }
  return out;
}

}  // namespace

bool is_absolute_path(const char* path) {
  if (path == nullptr) return false;
  return path[0] == '/' || starts_with_two_backslashes(path, std::strlen(path)) ||
         std::strchr(path, ':') != nullptr;
}

void normalize_path(std::string& path) {
  if (path.empty()) return;
  path.resize(collapse_separators(&path[0], path.size()));
}

bool resolve_relative_path(std::string& path) {
  if (is_absolute_path(path.c_str())) return false;
  // The module directory is empty here, so the joined length is the name's.
  if (path.size() > kMaxPath) return false;
  normalize_path(path);
  return true;
}

void normalize_separators(char* path) {
  if (path == nullptr) return;
  const std::size_t len = collapse_separators(path, std::strlen(path));
  path[len] = '\0';
}

}  // namespace KAVRI_LOG
