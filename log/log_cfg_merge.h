// Taking a logger's settings from the configuration an output object
// carries: everything but the configuration file, its section and the
// include/exclude lists.
#ifndef TAVN_LOG_LOG_CFG_MERGE_H_
#define TAVN_LOG_LOG_CFG_MERGE_H_

#include "log/log_cfg.h"

// Copies `from`'s settings into `to` through the getters; file name, title
// and locale only when their getter gives a text.  The scramble key and the
// configuration file's time start again at 0.
template <class CFG>
void take_output_settings(CFG& to, const Log_Cfg& from) {
  to.max_size_ = from.max_size();
  to.max_count_ = from.max_count();
  to.overwrite_ = from.overwrite();
  to.output_ = from.output();
  to.level_ = from.level();
  to.style_ = from.style();
  to.filter_ = from.filter();
  to.module_ = from.module();
  to.flush_always_ = from.flush_always();
  to.mode_ = from.mode();
  to.has_head_ = from.has_head();
  if (from.locale() != nullptr) to.locale_ = from.locale();
  to.console_level_ = from.console_level();
  to.charset_ = from.charset();
  if (from.file_name() != nullptr) to.file_name_ = from.file_name();
  if (from.title() != nullptr) to.title_ = from.title();
  to.cfg_mtime = 0;
  to.encrypt_key = 0;
}

#endif  // TAVN_LOG_LOG_CFG_MERGE_H_
