// How the front end reports: every call asks for the process-wide logger
// afresh and is skipped while none exists, so logging never changes a
// result.  The arguments are printf-style.
#ifndef TAVN_SYNTH_FRONT_LOG_H_
#define TAVN_SYNTH_FRONT_LOG_H_

#include "log/kavri_singleton.h"
#include "synth/tavn_logger.h"

// The process-wide logger, or null.  Read atomically: a request may ask for
// it while another thread's start-up publishes it.
inline TavnLogger* front_logger() { return TavnLogSingleton::current(); }

#define FRONT_LOG_(method, ...)                               \
  do {                                                        \
    if (TavnLogger* front_logger_ = front_logger())           \
      front_logger_->method(__VA_ARGS__);                     \
  } while (0)

#define LOG_ERROR(...) FRONT_LOG_(log_error, __VA_ARGS__)
#define LOG_WARN(...) FRONT_LOG_(log_warn, __VA_ARGS__)
#define LOG_INFO(...) FRONT_LOG_(log_info, __VA_ARGS__)
#define LOG_VERBOSE(...) FRONT_LOG_(log_verbose, __VA_ARGS__)
#define LOG_TRACE(...) FRONT_LOG_(log_trace, __VA_ARGS__)

#endif  // TAVN_SYNTH_FRONT_LOG_H_
