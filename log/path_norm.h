// Path helpers of the logger: telling absolute names from relative ones and
// the two separator normalisers.
//
//   normalize_path       - file names the logger is configured with (the log
//                          file and the configuration file); works on a
//                          std::string.
//   normalize_separators - the fixed 260-character path buffers of log
//                          rotation and find_files(); works in place on a
//                          zero-terminated char buffer.
//
// Both rewrite every "/" and "\" as "/" and collapse a run of separators to
// one.  A text that begins with two backslashes keeps them as long as no run
// occurs after them; when one does, the two leading backslashes are dropped
// along with it.  Neither ever makes a text longer, so neither can overrun.
// All functions are pure text operations: no file system access, no locks,
// safe to call from any thread on distinct texts.
#ifndef TAVN_LOG_PATH_NORM_H_
#define TAVN_LOG_PATH_NORM_H_

#include <cstddef>
#include <string>

namespace KAVRI_LOG {

// Longest path text the logger builds in its fixed buffers, terminator
// included (so at most kMaxPath - 1 characters).
constexpr std::size_t kMaxPath = 260;

// True when `path` begins with "/", begins with two backslashes, or holds a
// ":" anywhere.  A null path is not absolute.
bool is_absolute_path(const char* path);

// Normalises a configured file name in place (see above).  The scan skips
// a leading pair of backslashes; when a separator directly follows another
// one the text becomes the compacted form of the scanned part only.
// Examples in C literal notation: "a//b" -> "a/b", "a\\b" -> "a/b",
// "\\\\srv\\x" -> "\\\\srv/x", "\\\\srv\\\\x" -> "srv/x".
void normalize_path(std::string& path);

// Resolves a relative configured file name the way the logger does at
// start-up and when it reads its configuration file.  Relative names are
// anchored at the module directory, which is empty on this platform, so a
// relative name of at most kMaxPath characters is normalised with
// normalize_path(); an absolute name or a longer one is left unchanged.
// Returns true when the text was (possibly) rewritten.
bool resolve_relative_path(std::string& path);

// Separator normalisation of a zero-terminated buffer, in place (see
// above).  The result is never longer than the input; `path` null does
// nothing.
void normalize_separators(char* path);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_PATH_NORM_H_
