#include "log/log_make_dir.h"

#include <sys/stat.h>
#include <sys/types.h>
#include <cstring>

namespace KAVRI_LOG {

namespace {

bool is_dir(const char* path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool is_sep(char c) { return c == '/' || c == '\\'; }

}  // namespace

void make_log_dir(const char* file_name) {
  if (file_name == nullptr) return;
  // Working copy of at most 259 characters; a longer name is looked at only
  // up to there, which still yields genuine ancestors of the file.
  char dir[260];
  size_t len = 0;
  size_t start = 0;
  if (file_name[0] == '\\' && file_name[1] == '\\') {
    dir[0] = dir[1] = '\\';
    len = start = 2;
  }
  for (const char* p = file_name + start; *p != '\0' && len < sizeof dir - 1; ++p) {
    if (is_sep(*p)) {
      if (len > start && dir[len - 1] == '/') continue;  // a run of separators counts once
      dir[len++] = '/';
    } else {
      dir[len++] = *p;
    }
  }
  dir[len] = '\0';

  char* last = strrchr(dir + start, '/');
  if (last == nullptr) return;
  *last = '\0';
  len = static_cast<size_t>(last - dir);
  if (len == 0 || is_dir(dir)) return;

  size_t skip = 0;
  if (start == 2) skip = 2;
  else if (dir[1] == ':' && len > 2) skip = 3;
  for (size_t i = skip; i <= len; ++i) {
    if (i < len && dir[i] != '/') continue;
    if (i == 0) continue;  // the root of an absolute path
    const char saved = dir[i];
    dir[i] = '\0';
    const bool ok = is_dir(dir) || mkdir(dir, 0755) == 0;
    dir[i] = saved;
    if (!ok) return;
  }
}

}  // namespace KAVRI_LOG
