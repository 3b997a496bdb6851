// This library's logger type, compiled once: the front end's process-wide
// logger, also used by the tests and benchmarks through log/log_impl.h.
#include "log/log_impl.h"

#include "log/log_impl-inl.h"

template class Log_Impl_T<Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>,
                          Log_Win32_Process_Mutex, Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>>;
