// Creation of a log file's directory before the file is opened.
#ifndef TAVN_LOG_LOG_MAKE_DIR_H_
#define TAVN_LOG_LOG_MAKE_DIR_H_

namespace KAVRI_LOG {

// Creates the directory part of `file_name`, one level at a time, each with
// mode 0755.  Slashes and backslashes both separate, runs of them count as
// one; a leading pair of backslashes or a drive prefix ("C:") is never
// created.  Only the first 259 characters of the name are looked at.  A
// name without a separator, or whose directory exists, creates nothing; the
// first failing mkdir ends the walk silently (the file's open reports it).
void make_log_dir(const char* file_name);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_MAKE_DIR_H_
