// The logger's contact with the operating system: clock, process and thread
// ids, the console, file times, the log file's directory and the path texts
// the logger builds.  Everything here is a plain function of its arguments
// (plus the clock and the file system); none takes a lock.
#ifndef TAVN_LOG_LOG_OS_H_
#define TAVN_LOG_LOG_OS_H_

#include <cstddef>
#include <string>

#include "log/large_file.h"

namespace KAVRI_LOG {

// ---- Time stamps of log records, head blocks and backup names.

// Smallest buffer format_time() accepts.
constexpr size_t kTimeBufSize = 128;

// Writes the local time into `buf` (at least kTimeBufSize bytes) and
// returns `buf`.  file_form: "%Y-%m-%d_%H-%M-%S".  Otherwise "%H:%M:%S"
// (time_only) or "%y/%m/%d-%H:%M:%S", then " %03d" milliseconds.  Seconds
// and milliseconds come from two clock readings and may straddle a second.
// Thread-safe; the date text is reused within one second per thread.
char* format_time(char* buf, bool file_form, bool time_only);

// Writes the modification time of `path` as "%Y-%m-%d %H:%M:%S" (local
// time) into `buf` and returns `buf`; " " when the path is empty, cannot be
// examined or has time 0.  `size` must be at least 2.
char* file_time_text(const char* path, char* buf, size_t size);

// ---- Process and thread ids as shown in log records.

// getpid(), read once and kept; a forked child reads its own again.
// Thread-safe.
int process_id();

// pthread_self() as shown in records: its low 32 bits.
unsigned thread_id();

// ---- Console echo of log records on standard output.

// Prints `text` as it stands.
void echo_narrow(const char* text);

// Prints a wide line the way a narrow "%s" conversion reads it: its bytes
// up to the first zero byte, which for ordinary text is just the first
// character.  Kept so on purpose.  Printed as bytes rather than through
// wprintf, which would turn standard output wide-oriented and silence every
// later printf of the process (or print nothing once stdout is narrow).
void echo_wide_as_narrow(const wchar_t* text);

// Widens a narrow line as a wide log file receives it (widen_text) and
// echoes the result with echo_wide_as_narrow().  The conversion buffer is
// the thread's scratch (Log_Scratch); without memory nothing is printed.
void echo_widened(const char* line);

// ---- The log file's directory.

// Creates the directory part of `file_name`, one level at a time, each with
// mode 0755.  Slashes and backslashes both separate, runs of them count as
// one; a leading pair of backslashes or a drive prefix ("C:") is never
// created.  Only the first 259 characters of the name are looked at.  A
// name without a separator, or whose directory exists, creates nothing; the
// first failing mkdir ends the walk silently (the file's open reports it).
void make_log_dir(const char* file_name);

// ---- Path texts: telling absolute names from relative ones and the two
// separator normalisers.
//
//   normalize_path       - file names the logger is configured with (the log
//                          file and the configuration file); works on a
//                          std::string.
//   normalize_separators - the fixed kMaxPath-character path buffers of log
//                          rotation and find_files(); works in place on a
//                          zero-terminated char buffer.
//
// Both rewrite every "/" and "\" as "/" and collapse a run of separators to
// one.  A text that begins with two backslashes keeps them as long as no run
// occurs after them; when one does, the two leading backslashes are dropped
// along with it.  Neither ever makes a text longer, so neither can overrun.
// These are pure text operations: no file system access, safe to call from
// any thread on distinct texts.

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

#endif  // TAVN_LOG_LOG_OS_H_
