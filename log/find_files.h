// Directory search for log rotation: collects the files whose names match a
// wildcard pattern.
#ifndef TAVN_LOG_FIND_FILES_H_
#define TAVN_LOG_FIND_FILES_H_

#include <list>
#include <string>

namespace KAVRI_LOG {

// Appends to `found` the path of every entry of directory `dir` whose name
// matches `pattern` under the rules of match_string_i(), in the order the
// system lists the entries ("." and ".." are skipped).
//
// A path is `dir` immediately followed by the entry's name, with no
// separator put between (callers pass a directory ending in "/"), then
// passed through normalize_separators().  A matching entry that is a
// directory is searched in turn, always: `recursive` is handed on to the
// nested call and never consulted.  The nested call gets a path without a
// trailing separator, so the paths built inside it run the directory's name
// and the entry's name together ("dir/sub" + "file" gives "dir/subfile").
// A matching directory whose normalised path is no longer than the
// directory being searched (a name made only of backslashes, which leads
// back to it) is skipped, so the search always ends.
//
// Returns 0 on success, including when `pattern` is null (nothing matches).
// Returns errno when `dir` cannot be opened (EINVAL when `dir` is null), -1
// when a matching entry cannot be examined with stat() or its path would not
// fit in kMaxPath characters (errno is then ENAMETOOLONG), or the first
// non-zero result of a nested call.  Entries appended before a failure stay
// in `found`.
//
// The pattern is matched on a private copy, so `pattern` is only read.  No
// locks; safe to call from several threads with distinct lists.  May throw
// std::bad_alloc.
int find_files(const char* dir, const char* pattern, std::list<std::string>& found, bool recursive);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_FIND_FILES_H_
