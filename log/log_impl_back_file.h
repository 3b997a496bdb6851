// Log_Impl_T::back_file: rotation of the log file.  Called under the lock
// when a record would push the file past max_size.  Included by
// log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_BACK_FILE_H_
#define TAVN_LOG_LOG_IMPL_BACK_FILE_H_

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <list>
#include <string>

#include "log/find_files.h"
#include "log/path_norm.h"

namespace KAVRI_LOG {

// Backup name: the configured name up to its last "." (directory included),
// "_", the file-form time stamp and ".log".  False when it does not fit.
inline bool backup_name(char (&out)[kMaxPath], const char* name, const char* stamp) {
  const char* dot = std::strrchr(name, '.');
  int stem = dot ? static_cast<int>(dot - name) : static_cast<int>(std::strlen(name));
  int n = std::snprintf(out, sizeof out, "%.*s_%s.log", stem, name, stamp);
  return n >= 0 && static_cast<size_t>(n) < sizeof out;
}

// Where old backups are looked for and how they are matched: the directory
// of `name` up to its last "/" ("./" without one) and the file part up to
// its last "." followed by "_*.log".  False when a text does not fit.
inline bool backup_search(char (&dir)[kMaxPath], char (&pattern)[kMaxPath], const char* name) {
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

// Deletes at most one old backup once `max_count` or more are found: the
// second oldest when there are two or more (the oldest is always kept),
// else the only one.  Byte order of the names is their age order.
inline void prune_backups(const char* dir, const char* pattern, int max_count) {
  std::list<std::string> found;
  find_files(dir, pattern, found, true);
  found.sort();
  if (found.empty() || found.size() < static_cast<size_t>(max_count)) return;
  if (found.size() > 1) found.pop_front();
  unlink(found.front().c_str());
}

}  // namespace KAVRI_LOG

// Moves the full log aside under a dated backup name (or empties it in
// place with overwrite), first deleting an old backup when max_count or more
// exist.  The old file gets a "Continue" tail and the fresh one a
// "Continued" head.  Returns the output object's backup() result; 0 without
// an output object.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::back_file() {
  if (io_ == nullptr) return 0;  // nothing attached: nothing to rotate or to write into
  const char* name = cfg_.file_name();
  // The backup keeps the log's own name (emptied in place) with overwrite,
  // and also when a dated name would not fit the path buffer: the size
  // limit still holds.
  const char* target = name;
  char backup[KAVRI_LOG::kMaxPath];
  char stamp[KAVRI_LOG::kTimeBufSize];
  if (!cfg_.overwrite() && KAVRI_LOG::backup_name(backup, name, cur_time(stamp, true, false)))
    target = backup;

  char dir[KAVRI_LOG::kMaxPath], pattern[KAVRI_LOG::kMaxPath];
  if (cfg_.max_count() >= 1 && KAVRI_LOG::backup_search(dir, pattern, name))
    KAVRI_LOG::prune_backups(dir, pattern, cfg_.max_count());

  if (cfg_.has_head()) write_tail(false);
  int r = io_->backup(target);
  if (cfg_.has_head()) write_head(false);
  return r;
}

#endif  // TAVN_LOG_LOG_IMPL_BACK_FILE_H_
