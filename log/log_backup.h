// Names and housekeeping of the dated backups that log rotation leaves
// behind.  Plain functions of their arguments (no shared state): safe from
// any thread.
#ifndef TAVN_LOG_LOG_BACKUP_H_
#define TAVN_LOG_LOG_BACKUP_H_

#include "log/log_os.h"

namespace KAVRI_LOG {

// Backup name: the configured name up to its last "." (directory included),
// "_", the file-form time stamp and ".log".  False when it does not fit
// (`out` then holds the cut text).
bool backup_name(char (&out)[kMaxPath], const char* name, const char* stamp);

// Where old backups are looked for and how they are matched: the directory
// of `name` up to its last "/" ("./" without one) and the file part up to
// its last "." followed by "_*.log".  False when a text does not fit; the
// buffers' contents are then undefined.
bool backup_search(char (&dir)[kMaxPath], char (&pattern)[kMaxPath], const char* name);

// Deletes at most one old backup once `max_count` or more are found: the
// second oldest when there are two or more (the oldest is always kept),
// else the only one.  Byte order of the names is their age order.  A
// failed search or deletion is ignored.  May throw std::bad_alloc.
void prune_backups(const char* dir, const char* pattern, int max_count);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_BACKUP_H_
