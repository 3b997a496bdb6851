// Log_Impl_T's head and tail blocks, separator line and narrow text output.
// Included by log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_BLOCKS_H_
#define TAVN_LOG_LOG_IMPL_BLOCKS_H_

#include <cstdio>
#include <cstring>

#include "log/log_file_time.h"
#include "log/log_lock_guard.h"
#include "log/log_process.h"
#include "log/log_scratch.h"
#include "log/log_text_output.h"

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_text(const char* text) {
  return cfg_.charset_ == 2 ? write_widened(text) : io_->write(text);
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_widened(const char* text) {
  KAVRI_LOG::Log_Scratch wide(KAVRI_LOG::Scratch_Kind::wide_text);
  if (wide.data() == nullptr) return 0;  // no memory: the text is dropped
  return io_->write(KAVRI_LOG::widen_text(text, wide.wide()));
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_head(bool created) {
  if (live(cfg_.style_) == LOG_STYLE_NONE || io_ == nullptr) return;
  // Neither the application's nor the module's path is known on this
  // platform; both show as empty paths with " " as their times.
  const char* app_path = "";
  const char* module_path = "";
  if (strcmp(app_path, module_path) == 0) module_path = "";
  char app_time[64];
  char module_time[64];
  KAVRI_LOG::file_time_text(app_path, app_time, sizeof app_time);
  KAVRI_LOG::file_time_text(module_path, module_time, sizeof module_time);
  char now[KAVRI_LOG::kTimeBufSize];
  cur_time(now, false, false);
  const int pid = KAVRI_LOG::process_id();
  // Titles are cut at 1024 bytes so the block always closes.
  char block[4096];
  snprintf(block, sizeof block,
           "=============================================================\n"
           "\tKavri log file\n"
           "\tSubject :    %.1024s\n"
           "\t%s-Time :    %s\n"
           "\tApplication: %.260s %s\n"
           "\tModule:      %.260s %s\n"
           "\tPID: %d (0x%04x) Version: %s\n"
           "=============================================================\n",
           cfg_.title(), created ? "Created" : "Continued", now, app_path, app_time,
           module_path, module_time, pid, static_cast<unsigned>(pid), "");
  write_text(block);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::write_tail(bool end) {
  if (live(cfg_.style_) == LOG_STYLE_NONE || io_ == nullptr) return;
  char now[KAVRI_LOG::kTimeBufSize];
  cur_time(now, false, false);
  const int pid = KAVRI_LOG::process_id();
  char block[2048];
  snprintf(block, sizeof block,
           "=============================================================\n"
           "\t%.1024s %s-Time: %s\n"
           "\tPID: %d (0x%04x)\n"
           "=============================================================\n",
           cfg_.title(), end ? "End" : "Continue", now, pid, static_cast<unsigned>(pid));
  write_text(block);
  io_->flush();
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write_bound(char c) {
  // No output object or no open file: nothing to separate.
  if (io_ == nullptr || io_->handle() == nullptr) return 0;
  char line[81];
  memset(line, c, 80);
  line[80] = '\0';
  Log_Lock_Guard guard(mutex_);
  if (cfg_.charset_ == 2) {
    write_text(line);
    io_->write(L"\n");
  } else {
    io_->write(line);
    io_->write("\n");
  }
  io_->flush();
  return 0;
}

#endif  // TAVN_LOG_LOG_IMPL_BLOCKS_H_
