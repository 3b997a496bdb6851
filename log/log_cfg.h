// The logger's configuration: the read-only interface Log_Cfg, its one
// implementation, the value-type record Log_Cfg_T with its file reading,
// and the taking over of an output object's settings.
//
// A record owns all its strings and lists; copies are deep.  Records are
// destroyed through their own type, never through Log_Cfg (which has no
// virtual destructor).  Not thread-safe: a record is read and written by one
// thread at a time (the logger guards its live record with its lock).
#ifndef TAVN_LOG_LOG_CFG_H_
#define TAVN_LOG_LOG_CFG_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "log/log_cfg_reader.h"
#include "log/log_os.h"

// Read access to a configuration, in this slot order.  String getters
// return text valid while the record lives and is unchanged.
class Log_Cfg {
 public:
  virtual const char* file_name() const = 0;
  virtual const char* title() const = 0;
  virtual const char* cfg_file() const = 0;
  virtual const char* locale() const = 0;
  virtual uint32_t max_size() const = 0;
  virtual bool overwrite() const = 0;
  virtual int output() const = 0;
  virtual int level() const = 0;
  virtual int style() const = 0;
  virtual int filter() const = 0;
  virtual bool flush_always() const = 0;
  virtual int max_count() const = 0;
  virtual int mode() const = 0;
  virtual bool has_head() const = 0;
  virtual void* module() const = 0;
  virtual int console_level() const = 0;
  virtual uint32_t charset() const = 0;

 protected:
  ~Log_Cfg() = default;
};

// HEAP is the storage policy read_config() uses to fetch values from the
// configuration file (Log_Cfg_Heap_Reg); BASE is the interface (Log_Cfg).
// Fields are public: the logger's start-up, core and configuration reader
// read and write them directly.
template <class HEAP, class BASE>
class Log_Cfg_T : public BASE {
 public:
  Log_Cfg_T() = default;
  Log_Cfg_T(const Log_Cfg_T&) = default;
  Log_Cfg_T& operator=(const Log_Cfg_T&) = default;
  ~Log_Cfg_T() = default;

  const char* file_name() const override { return file_name_.c_str(); }
  const char* title() const override { return title_.c_str(); }
  const char* cfg_file() const override { return cfg_file_.c_str(); }
  const char* locale() const override { return locale_.c_str(); }
  uint32_t max_size() const override { return max_size_; }
  bool overwrite() const override { return overwrite_; }
  int output() const override { return output_; }
  int level() const override { return level_; }
  int style() const override { return style_; }
  int filter() const override { return filter_; }
  bool flush_always() const override { return flush_always_; }
  int max_count() const override { return max_count_; }
  int mode() const override { return mode_; }
  bool has_head() const override { return has_head_; }
  void* module() const override { return module_; }
  int console_level() const override { return console_level_; }
  uint32_t charset() const override { return charset_; }

  // Fills the record from section `section` (null: keep `section`) of the
  // configuration file `file` (null: keep cfg_file_).  Settings that cannot
  // be read keep their values.  Always returns 0.
  int read_config(const char* section, const char* file);

  std::string file_name_ = "kavri.log";        // log file; relative names resolved at start-up
  std::string title_ = "Running Information";  // title in the log file's head
  uint32_t max_size_ = 10485760;               // size limit of one log file, bytes
  int max_count_ = 20;                         // backups kept by rotation
  bool overwrite_ = false;                     // rotation empties the file instead of backing up
  int output_ = 1;                             // bit 1: log file, bit 2: standard output; 0: off
  int level_ = 7;                              // LOG_LEVEL mask written to the file
  int style_ = 255;                            // record prefix parts
  int filter_ = -1;                            // subject bits let through
  bool flush_always_ = false;                  // flush after every record
  bool has_head_ = true;                       // head and tail blocks around a run
  void* module_ = nullptr;                     // owning module's handle; not owned
  std::vector<std::string> include;            // subject names to include
  std::vector<std::string> exclude;            // subject names to exclude
  std::string cfg_file_;                       // configuration file path
  std::string section = "logger";              // its section
  int32_t cfg_mtime = 0;                       // its mtime when last read; 0 when absent
  int mode_ = 0;                               // handed to the output object's open()
  uint32_t encrypt_key = 0;                    // XOR key; low 8 bits used when non-zero
  std::string locale_ = ".ACP";                // locale for wide-text conversion
  int console_level_ = level_;                 // LOG_LEVEL mask echoed to the console
  uint32_t charset_ = 0;                       // 0 as written, 1 narrow, 2 wide
};

// Takes a logger's settings from the configuration an output object
// carries: copies `from`'s settings into `to` through the getters, all but
// the configuration file, its section and the include/exclude lists; file
// name, title and locale only when their getter gives a text.  The scramble
// key and the configuration file's time start again at 0.
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

// read_config: every key is fetched by its own pass over the file.  A key counts as
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

#endif  // TAVN_LOG_LOG_CFG_H_
