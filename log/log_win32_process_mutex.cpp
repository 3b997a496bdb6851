#include "log/log_win32_process_mutex.h"

int Log_Win32_Process_Mutex::open(const char*) { return 0; }

int Log_Win32_Process_Mutex::close(bool) { return 0; }

int Log_Win32_Process_Mutex::acquire(int) { return 0; }

int Log_Win32_Process_Mutex::release() { return 0; }

const char* Log_Win32_Process_Mutex::name() { return name_; }
