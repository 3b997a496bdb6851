// Console echo of log records on standard output.
#ifndef TAVN_LOG_LOG_CONSOLE_H_
#define TAVN_LOG_LOG_CONSOLE_H_

namespace KAVRI_LOG {

// Prints `text` as it stands.
void echo_narrow(const char* text);

// Prints a wide line the way a narrow "%s" conversion reads it: its bytes
// up to the first zero byte, which for ordinary text is just the first
// character.  Kept so on purpose.  Printed as bytes rather than through
// wprintf, which would turn standard output wide-oriented and silence every
// later printf of the process (or print nothing once stdout is narrow).
void echo_wide_as_narrow(const wchar_t* text);

// Widens a narrow line as a wide log file receives it (widen_text) and
// echoes the result with echo_wide_as_narrow().
void echo_widened(const char* line);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_CONSOLE_H_
