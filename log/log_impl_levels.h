// Log_Impl_T's printf-style level entry points.  Included by
// log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_LEVELS_H_
#define TAVN_LOG_LOG_IMPL_LEVELS_H_

#include <cstdarg>
#include <cstdio>

#include "log/log_scratch.h"

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::log_level_v(LOG_LEVEL level, const char* fmt, va_list ap) {
  // The thread's own message buffer: never shared between threads, and off
  // the stack.  Longer messages are cut to 40959 bytes.  Without memory for
  // it the record is dropped.
  KAVRI_LOG::Log_Scratch scratch(KAVRI_LOG::Scratch_Kind::message);
  char* msg = scratch.chars();
  if (msg == nullptr) return;
  msg[0] = '\0';
  if ((live(cfg_.level_) & level) != 0 && fmt != nullptr)
    vsnprintf(msg, KAVRI_LOG::scratch_bytes(KAVRI_LOG::Scratch_Kind::message), fmt, ap);
  // Handed over even when not formatted: the level test there drops it.
  log_msg_i(nullptr, level, 0, msg);
}

#define TAVN_LOG_LEVEL_ENTRY_(name, level, then_flush)        \
  template <class IO, class LOCK, class CFG>                  \
  void Log_Impl_T<IO, LOCK, CFG>::name(const char* fmt, ...) { \
    if (live(cfg_.output_) == 0) return;                      \
    va_list ap;                                               \
    va_start(ap, fmt);                                        \
    log_level_v(level, fmt, ap);                              \
    va_end(ap);                                               \
    if (then_flush) flush();                                  \
  }

TAVN_LOG_LEVEL_ENTRY_(log_trace, LOG_LVL_TRACE, false)
TAVN_LOG_LEVEL_ENTRY_(log_info, LOG_LVL_INFO, false)
TAVN_LOG_LEVEL_ENTRY_(log_verbose, LOG_LVL_VERBOSE, false)
TAVN_LOG_LEVEL_ENTRY_(log_warn, LOG_LVL_WARN, true)
TAVN_LOG_LEVEL_ENTRY_(log_error, LOG_LVL_ERROR, true)

#undef TAVN_LOG_LEVEL_ENTRY_

#endif  // TAVN_LOG_LOG_IMPL_LEVELS_H_
