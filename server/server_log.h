// tavnd's log: one line per event (start, stop, every fault and refusal
// with its reason), to standard error or a file.
//
// Each line is written with a single write(2) on a descriptor opened with
// O_APPEND, so lines of the master and its workers never interleave.
// Thread-safe.
#ifndef TAVN_SERVER_SERVER_LOG_H_
#define TAVN_SERVER_SERVER_LOG_H_

#include <string>
#include <string_view>

namespace tavn::server {

// Logs to `path` from now on ("" = standard error), opening it for
// appending.  Returns "" or a message naming the file and the error (the
// log then stays where it was).  Called again with the same path (SIGHUP),
// it reopens the file, so a rotated log is let go.
std::string log_to(const std::string& path);

// The descriptor lines go to now (2 for standard error); workers get it as
// their standard error.
int log_fd();

// Writes "<UTC time> tavnd[<pid>]: <message>\n".  Control characters in
// `message` (it may quote a client) are written as '?'.
void log_line(std::string_view message);

}  // namespace tavn::server

#endif  // TAVN_SERVER_SERVER_LOG_H_
