#include "log/log_backup.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <list>
#include <string>

#include "log/find_files.h"

namespace KAVRI_LOG {

bool backup_name(char (&out)[kMaxPath], const char* name, const char* stamp) {
  const char* dot = std::strrchr(name, '.');
  int stem = dot ? static_cast<int>(dot - name) : static_cast<int>(std::strlen(name));
  int n = std::snprintf(out, sizeof out, "%.*s_%s.log", stem, name, stamp);
  return n >= 0 && static_cast<size_t>(n) < sizeof out;
}

bool backup_search(char (&dir)[kMaxPath], char (&pattern)[kMaxPath], const char* name) {
  if (std::strlen(name) >= kMaxPath) return false;
  std::strcpy(dir, name);
  normalize_separators(dir);
  char* slash = std::strrchr(dir, '/');
  if (slash) slash[1] = '\0';
  if (!slash || dir[0] == '\0') std::strcpy(dir, "./");

  char file[kMaxPath];
  std::strcpy(file, name);
  normalize_separators(file);
  slash = std::strrchr(file, '/');
  char* base = slash ? slash + 1 : file;
  if (char* dot = std::strrchr(base, '.')) *dot = '\0';
  int n = std::snprintf(pattern, sizeof pattern, "%s_*.log", base);
  return n >= 0 && static_cast<size_t>(n) < sizeof pattern;
}

void prune_backups(const char* dir, const char* pattern, int max_count) {
  std::list<std::string> found;
  find_files(dir, pattern, found, true);
  found.sort();
  if (found.empty() || found.size() < static_cast<size_t>(max_count)) return;
  if (found.size() > 1) found.pop_front();
  unlink(found.front().c_str());
}

}  // namespace KAVRI_LOG
