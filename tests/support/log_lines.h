// The shape of the front end's log lines in the default style, for the
// checks that many threads writing at once leave every line whole (the
// stress tests and the soak benchmark).
#ifndef TAVN_TESTS_SUPPORT_LOG_LINES_H_
#define TAVN_TESTS_SUPPORT_LOG_LINES_H_

#include <regex>
#include <string>

// True when `line` (without its line break) is one whole record, or a line
// of a head or tail block titled "Talvern Logging".
inline bool whole_log_line(const std::string& line) {
  static const std::regex record(
      R"(\[\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3}\]\[[A-Z]{3}\]\[Px[0-9a-f]{4,}\]\[Tx[0-9a-f]{4,}\] )"
      R"((?:(?!\[Px).)*)");
  static const std::regex block(
      R"(=+|\t(Kavri log file|Subject :|(Created|Continued)-Time :|Application:|Module:|PID: )"
      R"(|Talvern Logging (End|Continue)-Time: ).*)");
  return std::regex_match(line, record) || std::regex_match(line, block);
}

#endif  // TAVN_TESTS_SUPPORT_LOG_LINES_H_
