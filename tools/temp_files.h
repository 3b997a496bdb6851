// Temporary files that go away on every way out of tavn-say: at the normal
// end, on a failure and on SIGINT, SIGTERM, SIGHUP or SIGPIPE.
//
// Single-threaded use from main(); the signal handler only reads the fixed
// table of names and calls unlink(), which is async-signal-safe.
#ifndef TAVN_TOOLS_TEMP_FILES_H_
#define TAVN_TOOLS_TEMP_FILES_H_

#include <string>

namespace tavn::say {

// Installs the signal handlers: each removes the files, then ends the
// process by the same signal (so the caller sees the usual status).
void install_temp_file_cleanup();

// Creates an empty file "<$TMPDIR or /tmp>/tavn-say-XXXXXX<suffix>" and
// registers it, together with its name plus ".tmp" (the library's own
// temporary file for a converted format), for removal.  Returns "" when no
// file could be made or all four slots are taken.
std::string make_temp_file(const char* suffix);

// Removes every registered file now (absent files are no error).
void remove_temp_files();

}  // namespace tavn::say

#endif  // TAVN_TOOLS_TEMP_FILES_H_
