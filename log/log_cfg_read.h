// Log_Cfg_T::read_config: fills a record from one section of the
// configuration file, through the storage policy HEAP.
#ifndef TAVN_LOG_LOG_CFG_READ_H_
#define TAVN_LOG_LOG_CFG_READ_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "log/log_cfg_heap.h"
#include "log/log_cfg_text.h"
#include "log/path_norm.h"
#include "log/token_map.h"

// Every key is fetched by its own pass over the file.  A key counts as
// found when the file could be read and its value is not empty; settings
// not found keep their values, except "overwrite" and "flush", which are
// false unless the file sets them.
template <class HEAP, class BASE>
int Log_Cfg_T<HEAP, BASE>::read_config(const char* section_name, const char* file) {
  if (section_name != nullptr) section = section_name;
  // The storage object opens the path as given; the record keeps it
  // normalised below.
  HEAP heap(section.c_str(), file != nullptr ? file : cfg_file_.c_str());
  if (file != nullptr) cfg_file_ = file;
  KAVRI_LOG::resolve_relative_path(cfg_file_);

  struct stat st;
  cfg_mtime = stat(cfg_file_.c_str(), &st) == 0 ? static_cast<int32_t>(st.st_mtime) : 0;

  std::string v;
  auto found = [&heap, &v](const char* key) {
    v.clear();
    return heap.get_string_value(key, v, nullptr) == 0 && !v.empty();
  };
  auto number = [&v] { return KAVRI_LOG::config_number(v); };
  auto append_items = [&v](std::vector<std::string>& list) {
    KAVRI_LOG::split_quoted(v, ",;", false, list);
  };

  if (found("output")) output_ = number();
  if (found("subjects")) filter_ = number();
  if (found("maxsize")) max_size_ = static_cast<uint32_t>(number());
  overwrite_ = found("overwrite") && number() != 0;
  flush_always_ = found("flush") && number() != 0;
  if (found("maxcount")) max_count_ = number();
  if (found("mode")) mode_ = number();
  if (found("head")) has_head_ = number() != 0;
  if (found("locale")) locale_ = v;
  if (found("charset")) {
    // Compared unsigned: negative numbers are refused with the large ones.
    const uint32_t cs = static_cast<uint32_t>(number());
    if (cs <= 2) charset_ = cs;
  }
  const bool level_found = found("level");
  if (level_found) level_ = number();
  const bool style_found = found("style");
  if (style_found) style_ = number();
  const bool console_found = found("console_level");
  if (console_found) console_level_ = number();
  if (found("title")) title_ = v;
  if (found("file")) file_name_ = v;
  if (found("include")) append_items(include);
  if (found("exclude")) append_items(exclude);

  // Words.  A level word is looked up only when the number read was 0, a
  // style word whatever the number: "style = 126" stays 126 and
  // "style = long" becomes 126.  An unknown word leaves the number read.
  if (level_ == 0 && level_found && found("level")) {
    KAVRI_LOG::get_maped_token(level_, v, KAVRI_LOG::level_tokens);
  }
  if (style_found && found("style")) {
    KAVRI_LOG::get_maped_token(style_, v, KAVRI_LOG::style_tokens);
  }
  if (console_level_ == 0 && console_found && found("console_level")) {
    KAVRI_LOG::get_maped_token(console_level_, v, KAVRI_LOG::level_tokens);
  }
  if (level_found && !console_found) console_level_ = level_;

  // A single record line can take 40960 bytes; a smaller limit would
  // rotate the file on every record.
  if (max_size_ <= 40959u) max_size_ = 40960;
  return 0;
}

#endif  // TAVN_LOG_LOG_CFG_READ_H_
