// What a record shows: its level (single-bit values; a configuration's
// `level` and `console_level` are masks of them) and the style bits that
// pick the parts of its prefix.
#ifndef TAVN_LOG_LOG_LEVEL_H_
#define TAVN_LOG_LOG_LEVEL_H_

enum LOG_LEVEL {
  LOG_LVL_CRITICAL = 1,  // "CRT"
  LOG_LVL_ERROR = 2,     // "ERR", log_error
  LOG_LVL_WARN = 4,      // "WAN", log_warn
  LOG_LVL_INFO = 8,      // "INF", log_info
  LOG_LVL_VERBOSE = 16,  // "VBS", log_verbose
  LOG_LVL_DEBUG = 32,    // "DBG"
  LOG_LVL_PERF = 64,     // "PRF"
  LOG_LVL_TRACE = 128,   // "TRC", log_trace
};

// Level names in the log: entry 0 for unknown levels, then one per bit
// from 1 up to 128.
inline constexpr char LOG_LVLSTRS[9][16] = {
    "UNK", "CRT", "ERR", "WAN", "INF", "VBS", "DBG", "PRF", "TRC",
};

// Style bits: each selects one part of a record's prefix, written in this
// order: time stamp, level, process id, thread id, subject; then a blank
// and the message.
enum LOG_STYLE {
  LOG_STYLE_SHORT_TIME = 1,   // "[23:59:58 041]", ignored when FULL_TIME is set
  LOG_STYLE_FULL_TIME = 2,    // "[24/03/05-23:59:58 041]"
  LOG_STYLE_LEVEL = 4,        // "[INF]"
  LOG_STYLE_THREAD = 8,       // "[Tx%04x]"
  LOG_STYLE_LINE_BREAK = 16,  // the record ends with a line break
  LOG_STYLE_SUBJECT = 32,     // "[%-8.8s]", only when a subject is given
  LOG_STYLE_PROCESS = 64,     // "[Px%04x]"
  LOG_STYLE_NONE = 256,       // no prefix, no line break, no head or tail block
};

namespace KAVRI_LOG {

// Name of `level`: 0 and 1 give "CRT"; any other value is rounded up to the
// next power of two 2^k and named by entry k+1, or "UNK" past the table.
// Negative values (as unsigned, above 2^31) give "UNK".
const char* level_name(int level);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_LEVEL_H_
