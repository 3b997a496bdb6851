// Log_Impl_T's file life: open and close, the raw write with its
// scrambling, flush, the head and tail blocks, the separator line, rotation
// and the configuration re-check.  Included at the end of log/log_impl.h;
// compiles on its own as well.
#ifndef TAVN_LOG_LOG_IMPL_FILE_H_
#define TAVN_LOG_LOG_IMPL_FILE_H_

#include <strings.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>

#include "log/log_backup.h"
#include "log/log_cfg_merge.h"
#include "log/log_file_time.h"
#include "log/log_impl.h"
#include "log/log_lock_guard.h"
#include "log/log_make_dir.h"
#include "log/log_process.h"
#include "log/log_style.h"
#include "log/log_time.h"

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::open(const CFG* cfg, IO* io, void* param) {
  close();

  // Settings an output object carries come first; an explicit record wins
  // whole.
  if (io != nullptr && io->config() != nullptr) take_output_settings(cfg_, *io->config());
  if (cfg != nullptr) cfg_ = *cfg;

  // "null" only queries the locale, "empty" takes the environment's,
  // "skip" leaves it alone; any other name is set as it stands.
  const char* locale = cfg_.locale_.c_str();
  if (locale[0] != '\0') {
    if (strcasecmp(locale, "null") == 0) setlocale(LC_ALL, nullptr);
    else if (strcasecmp(locale, "empty") == 0) setlocale(LC_ALL, "");
    else if (strcasecmp(locale, "skip") != 0) setlocale(LC_ALL, locale);
  }

  if (io != nullptr && io->mutex() != nullptr) {
    mutex_ = io->mutex();
    own_mutex_ = false;
  } else {
    // Lock name from the title, blanks as "_"; titles are cut at 200 bytes.
    char title[201];
    snprintf(title, sizeof title, "%s", cfg_.title());
    for (char* p = title; *p != '\0'; ++p)
      if (*p == ' ') *p = '_';
    char name[260];
    snprintf(name, sizeof name, "Kavri_Logger_Mutex_%s", title);
    LOCK* lock_object = new LOCK();
    const int rc = lock_object->open(name);
    if (rc != 0) printf("Log_Impl_T::open open lock name %s failed, error = %d.\n", name, rc);
    mutex_ = lock_object;
    own_mutex_ = true;
  }

  if ((cfg_.output_ & 1) == 0) return 0;  // console only: no file, io not kept

  // The allocation and the file work below may throw: the guard gives the
  // lock back on the way out.
  Log_Lock_Guard guard(mutex_);
  if (io != nullptr) {
    // A caller's output object is taken as it is: assumed open, no head.
    io_ = io;
    own_io_ = false;
    return 0;
  }
  io_ = new IO();
  own_io_ = true;
  io_->mutex(mutex_);
  KAVRI_LOG::make_log_dir(cfg_.file_name());
  const int rc = io_->open(cfg_.file_name(), mutex_, cfg_.mode_, param);
  if (rc != 0) return rc;
  if (cfg_.has_head_) write_head(true);
  io_->config(&cfg_);
  return 0;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::close() {
  if (io_ != nullptr) {
    Log_Lock_Guard guard(mutex_);
    if (own_io_) {
      // Deleted and detached on every way out, even if the tail throws (the
      // object's destructor closes the file).
      struct Drop {
        IO*& io;
        ~Drop() {
          delete io;
          io = nullptr;
        }
      } drop{io_};
      if (cfg_.has_head_) write_tail(true);
      io_->close();
    }
  }
  if (mutex_ != nullptr && own_mutex_) {
    mutex_->close(false);
    // Lock objects have no virtual destructor; this one was made as a LOCK.
    delete static_cast<LOCK*>(mutex_);
    mutex_ = nullptr;
  }
  return 0;
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
           cfg_.title(), created ? "Created" : "Continued", now, app_path, app_time, module_path,
           module_time, pid, static_cast<unsigned>(pid), "");
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

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::write(const void* data, int len) {
  Log_Lock_Guard guard(mutex_);
  int result = -1;
  if (io_ != nullptr) {
    if (cfg_.encrypt_key != 0 && data != nullptr && len > 0) {
      // Scramble a copy: the caller's bytes stay as they are.
      unsigned char fixed[10240];
      std::unique_ptr<unsigned char[]> heap;
      unsigned char* copy = fixed;
      if (len > static_cast<int>(sizeof fixed)) {
        heap.reset(new (std::nothrow) unsigned char[static_cast<size_t>(len)]);
        copy = heap.get();
      }
      if (copy != nullptr) {  // no memory for the copy: nothing written, -1
        memcpy(copy, data, static_cast<size_t>(len));
        encrypt(copy, len);
        result = io_->write(static_cast<const void*>(copy), len);
      }
    } else {
      result = io_->write(data, len);
    }
  }
  return result;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::encrypt(void* data, int len) {
  if (cfg_.encrypt_key == 0 || len < 1 || data == nullptr) return len;
  const unsigned char key = static_cast<unsigned char>(cfg_.encrypt_key & 0xFF);
  unsigned char* bytes = static_cast<unsigned char*>(data);
  for (int i = 0; i < len; ++i) bytes[i] ^= key;
  return len;
}

template <class IO, class LOCK, class CFG>
void Log_Impl_T<IO, LOCK, CFG>::flush() {
  Log_Lock_Guard guard(mutex_);
  if (io_ != nullptr && io_->handle() != nullptr) io_->flush();
}

template <class IO, class LOCK, class CFG>
char* Log_Impl_T<IO, LOCK, CFG>::subject(int n, char* buf, int size) const {
  if (buf != nullptr && size > 8)
    snprintf(buf, static_cast<size_t>(size), "%8x", static_cast<unsigned>(n));
  return buf;
}

// Numbers outside 0..31 have no bit in `filter` and always pass.
template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(int n) const {
  if (n < 0 || n > 31) return 1;
  return (static_cast<uint32_t>(cfg_.filter_) >> n) & 1u;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::sub_output(const char*) const {
  return 1;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::back_file() {
  if (io_ == nullptr) return 0;  // nothing attached: nothing to rotate or to write into
  const char* name = cfg_.file_name();
  // The backup keeps the log's own name (emptied in place) with overwrite,
  // and also when a dated name would not fit the path buffer: the size
  // limit still holds.
  const char* target = name;
  char backup[KAVRI_LOG::kMaxPath];
  char stamp[KAVRI_LOG::kTimeBufSize];
  if (!cfg_.overwrite() && KAVRI_LOG::backup_name(backup, name, cur_time(stamp, true, false)))
    target = backup;

  char dir[KAVRI_LOG::kMaxPath], pattern[KAVRI_LOG::kMaxPath];
  if (cfg_.max_count() >= 1 && KAVRI_LOG::backup_search(dir, pattern, name))
    KAVRI_LOG::prune_backups(dir, pattern, cfg_.max_count());

  if (cfg_.has_head()) write_tail(false);
  int r = io_->backup(target);
  if (cfg_.has_head()) write_head(false);
  return r;
}

template <class IO, class LOCK, class CFG>
int Log_Impl_T<IO, LOCK, CFG>::check_config() {
  const int32_t now = static_cast<int32_t>(std::time(nullptr));
  // Tested before the lock is taken: read and written atomically.
  if (now - __atomic_load_n(&last_cfg_check, __ATOMIC_RELAXED) <= 10) return 0;
  // The copy and the file read below may throw (no memory): the guard gives
  // the lock back and the exception leaves the record.
  Log_Lock_Guard guard(mutex_);
  struct stat st;
  const int32_t mtime = stat(cfg_.cfg_file(), &st) == 0 ? static_cast<int32_t>(st.st_mtime) : 0;
  if (mtime != cfg_.cfg_mtime) {
    cfg_.cfg_mtime = mtime;
    CFG fresh(cfg_);
    fresh.read_config(nullptr, nullptr);
    // Records of other threads read these without the lock.
    set_live(cfg_.output_, fresh.output_);
    set_live(cfg_.level_, fresh.level_);
    set_live(cfg_.console_level_, fresh.level_);
    set_live(cfg_.flush_always_, fresh.flush_always_);
    set_live(cfg_.style_, fresh.style_);
  }
  __atomic_store_n(&last_cfg_check, now, __ATOMIC_RELAXED);
  return 0;
}

#endif  // TAVN_LOG_LOG_IMPL_FILE_H_
