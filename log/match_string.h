// Wildcard matching of file names, as log rotation uses it to recognise its
// backup files.
#ifndef TAVN_LOG_MATCH_STRING_H_
#define TAVN_LOG_MATCH_STRING_H_

namespace KAVRI_LOG {

// Matches `str` against `pattern`, where "*" stands for any run of
// characters and "?" for exactly one character.  Returns false when either
// pointer is null.
//
// The matcher is deliberately simple, and callers rely on these rules:
//  - Comparison is exact and case-sensitive (the "_i" suffix is historical).
//  - After a "*", the text up to the next "*" or "?" is searched for once:
//    only its first occurrence is tried, with no backtracking.  So "*ab?d"
//    does not match "abxabcd" and "*.log" does not match "a.log.log".
//  - A "*" that ends the pattern matches the rest of the text.
//  - A "?" facing the end of the text is no match.
//
// `pattern` must be writable: during the search the matcher writes zero
// bytes over the next "*" and "?" and puts them back before it returns, so
// on return the pattern is exactly as it was.  Not thread-safe for a shared
// pattern text: one pattern buffer must not be matched from two threads at
// once (find_files() matches on its own copy).  `str` is only read.
bool match_string_i(char* pattern, const char* str);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_MATCH_STRING_H_
