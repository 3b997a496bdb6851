// Storage policy of the configuration record: where read_config() fetches
// its values from.  Log_Cfg_Heap names the source (a section of a file);
// Log_Cfg_Heap_Reg reads keys from that section of a text file of
// "[section]" headers and "key = value" lines.
//
// read_config() creates one object on its stack for the length of one read.
// The object keeps no copy of the file: every get_string_value() call opens,
// scans and closes it anew, so edits between calls are seen.  Objects are
// not copyable; one object must not be used by two threads at once, but
// distinct objects are independent.
#ifndef TAVN_LOG_LOG_CFG_HEAP_H_
#define TAVN_LOG_LOG_CFG_HEAP_H_

#include <string>

// The source of configuration values: a section name and a file path, both
// copied at construction (null is taken as the empty text).
class Log_Cfg_Heap {
 public:
  Log_Cfg_Heap(const char* section, const char* file);
  virtual ~Log_Cfg_Heap();
  Log_Cfg_Heap(const Log_Cfg_Heap&) = delete;
  Log_Cfg_Heap& operator=(const Log_Cfg_Heap&) = delete;

  const std::string& section() const { return section_; }
  const std::string& file() const { return file_; }

 protected:
  std::string section_;
  std::string file_;
};

class Log_Cfg_Heap_Reg : public Log_Cfg_Heap {
 public:
  Log_Cfg_Heap_Reg(const char* section, const char* file);
  ~Log_Cfg_Heap_Reg() override;

  // Looks `key` up in section `section` (null: this object's section) of
  // the file and returns 0 when the file could be opened, found or not, and
  // -1 when it could not (or `key` is null).
  //
  // `value` is changed only when the key is found with a non-empty value,
  // so callers clear it first and test its length afterwards.
  //
  // File syntax: the file is read in pieces of at most 999 bytes (a longer
  // line counts as several lines); each is trimmed of bytes <= 32 at both
  // ends and skipped when empty.  A line starting with "#" or ";" is a
  // comment (only whole lines are).  "[name]" starts section `name`, taken
  // as it stands; lines before any header belong to the empty section.
  // Other lines are split at every "=" outside single or double quotes
  // (the quotes stay in the text); each piece is cut to 400 characters and
  // trimmed.  The first piece is the key, the second the value, later ones
  // are ignored ("a = b = c" gives "b").  Keys and sections compare without
  // regard to ASCII case.  The first line whose key and section match ends
  // the scan, even when its value is empty.
  int get_string_value(const char* key, std::string& value, const char* section) const;

 private:
  void* handle_ = nullptr;  // unused on this platform; kept zero
};

#endif  // TAVN_LOG_LOG_CFG_HEAP_H_
