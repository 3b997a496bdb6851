// How the front end reports: every call asks for the process-wide logger
// afresh and is skipped while none exists, so logging never changes a
// result.  Each call holds a TavnLogSingleton::Use for the record's length:
// a record racing with the exit hook is either written on a live logger or
// skipped, never written on one being closed.  The arguments are
// printf-style.
#ifndef TAVN_SYNTH_FRONT_LOG_H_
#define TAVN_SYNTH_FRONT_LOG_H_

#include "synth/tavn_logger.h"

#define FRONT_LOG_(method, ...)                                                                   \
  do {                                                                                            \
    if (TavnLogSingleton::Use front_logger_{}; front_logger_) front_logger_->method(__VA_ARGS__); \
  } while (0)

#define LOG_ERROR(...) FRONT_LOG_(log_error, __VA_ARGS__)
#define LOG_WARN(...) FRONT_LOG_(log_warn, __VA_ARGS__)
#define LOG_INFO(...) FRONT_LOG_(log_info, __VA_ARGS__)
#define LOG_VERBOSE(...) FRONT_LOG_(log_verbose, __VA_ARGS__)
#define LOG_TRACE(...) FRONT_LOG_(log_trace, __VA_ARGS__)

#endif  // TAVN_SYNTH_FRONT_LOG_H_
