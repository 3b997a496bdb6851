// Scope tracer of the logging entry points: a trace record "<name> | enter."
// when created and "<name> | leave." when destroyed, on every way out
// including an exception passing through.  Each record is skipped when no
// logger exists at that moment (the logger is looked up afresh each time).
#ifndef TAVN_SYNTH_FUNC_TRACE_H_
#define TAVN_SYNTH_FUNC_TRACE_H_

#include <string>

#include "synth/front_log.h"

namespace tavn::synth {

class Log_Func_Trace {
 public:
  explicit Log_Func_Trace(const char* name) : name_(name) {
    TAVN_LOG_TRACE("%s | enter.", name_.c_str());
  }
  ~Log_Func_Trace() { TAVN_LOG_TRACE("%s | leave.", name_.c_str()); }
  Log_Func_Trace(const Log_Func_Trace&) = delete;
  Log_Func_Trace& operator=(const Log_Func_Trace&) = delete;

 private:
  std::string name_;
};

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_FUNC_TRACE_H_
