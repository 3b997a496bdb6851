// Log_Impl_T::open and close.  Included by log/log_impl.h.
#ifndef TAVN_LOG_LOG_IMPL_OPEN_H_
#define TAVN_LOG_LOG_IMPL_OPEN_H_

#include <clocale>
#include <cstdio>
#include <strings.h>

#include "log/log_cfg_merge.h"
#include "log/log_make_dir.h"

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
    if (strcasecmp(locale, "null") == 0)
      setlocale(LC_ALL, nullptr);
    else if (strcasecmp(locale, "empty") == 0)
      setlocale(LC_ALL, "");
    else if (strcasecmp(locale, "skip") != 0)
      setlocale(LC_ALL, locale);
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

#endif  // TAVN_LOG_LOG_IMPL_OPEN_H_
