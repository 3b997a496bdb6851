// The front end's process-wide logger: its type, its start-up and release.
#ifndef TAVN_SYNTH_TAVN_LOGGER_H_
#define TAVN_SYNTH_TAVN_LOGGER_H_

#include "log/log_cfg.h"
#include "log/log_impl.h"
#include "log/log_io.h"
#include "log/log_mutex.h"
#include "log/log_singleton.h"

namespace tavn::synth {

// The logger's members are compiled once, in log/log_impl.cpp.
using TavnLogIO = Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>;
using TavnLogCfg = Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>;
using TavnLogger = Log_Impl_T<TavnLogIO, Log_Win32_Process_Mutex, TavnLogCfg>;
using TavnLogSingleton = Log_Singleton<TavnLogIO, Log_Win32_Process_Mutex, TavnLogCfg>;

// Opens the process-wide logger: "./tavn.log" titled "Talvern Logging",
// overridden by section "logger" of "./tavn.cfg" when that file exists.
// Does nothing when the logger exists.  May throw (allocation); the caller
// then retries on the next request.
void tavn_logger_open();

// Stops new records, waits for records in flight on other threads, then
// closes the logger and drops the start-up's reference, deleting the logger
// with the last one (Log_Singleton::release).  Records that come later are
// skipped.
void tavn_logger_release();

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_TAVN_LOGGER_H_
