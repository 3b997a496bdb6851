// Time stamps of log records, head blocks and backup names.
#ifndef TAVN_LOG_LOG_TIME_H_
#define TAVN_LOG_LOG_TIME_H_

#include <cstddef>

namespace KAVRI_LOG {

// Smallest buffer format_time() accepts.
constexpr size_t kTimeBufSize = 128;

// Writes the local time into `buf` (at least kTimeBufSize bytes) and
// returns `buf`.  file_form: "%Y-%m-%d_%H-%M-%S".  Otherwise "%H:%M:%S"
// (time_only) or "%y/%m/%d-%H:%M:%S", then " %03d" milliseconds.  Seconds
// and milliseconds come from two clock readings and may straddle a second.
// Thread-safe; the date text is reused within one second per thread.
char* format_time(char* buf, bool file_form, bool time_only);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_TIME_H_
