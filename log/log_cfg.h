// The logger's configuration: the read-only interface Log_Cfg and its one
// implementation, the value-type record Log_Cfg_T.
//
// A record owns all its strings and lists; copies are deep.  Records are
// destroyed through their own type, never through Log_Cfg (which has no
// virtual destructor).  Not thread-safe: a record is read and written by one
// thread at a time (the logger guards its live record with its lock).
#ifndef TAVN_LOG_LOG_CFG_H_
#define TAVN_LOG_LOG_CFG_H_

#include <cstdint>
#include <string>
#include <vector>

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

#include "log/log_cfg_read.h"

#endif  // TAVN_LOG_LOG_CFG_H_
