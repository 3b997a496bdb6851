// How the front end reports: every call asks for the process-wide logger
// afresh and is skipped while none exists, so logging never changes a
// result.  Each call holds a TavnLogSingleton::Use for the record's length:
// a record racing with the exit hook is either written on a live logger or
// skipped, never written on one being closed.  The arguments are
// printf-style.  The names carry the TAVN_ prefix because <syslog.h>
// defines LOG_INFO and other LOG_ names of its own.
#ifndef TAVN_SYNTH_FRONT_LOG_H_
#define TAVN_SYNTH_FRONT_LOG_H_

#include "synth/tavn_logger.h"

#define TAVN_LOG_AT_(method, ...)                                          \
  do {                                                                     \
    if (::tavn::synth::TavnLogSingleton::Use tavn_logger_{}; tavn_logger_) \
      tavn_logger_->method(__VA_ARGS__);                                   \
  } while (0)

#define TAVN_LOG_ERROR(...) TAVN_LOG_AT_(log_error, __VA_ARGS__)
#define TAVN_LOG_WARN(...) TAVN_LOG_AT_(log_warn, __VA_ARGS__)
#define TAVN_LOG_INFO(...) TAVN_LOG_AT_(log_info, __VA_ARGS__)
#define TAVN_LOG_VERBOSE(...) TAVN_LOG_AT_(log_verbose, __VA_ARGS__)
#define TAVN_LOG_TRACE(...) TAVN_LOG_AT_(log_trace, __VA_ARGS__)

#endif  // TAVN_SYNTH_FRONT_LOG_H_
