// The configuration file reader: the text helpers it works with, the word
// tables of configuration values, and the storage policy Log_Cfg_T's
// read_config() fetches values through.
//
// A configuration file is a text of "[section]" headers and "key = value"
// lines; Log_Cfg_Heap_Reg finds one key in one section of it, token_map
// tables turn words such as "debug" into numbers.
#ifndef TAVN_LOG_LOG_CFG_READER_H_
#define TAVN_LOG_LOG_CFG_READER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace KAVRI_LOG {

// ---- Text helpers: trimming, ASCII case folding, splitting at separators
// outside quotes and reading numbers.  Pure functions on strings; safe from
// any thread.

// Longest piece kept from a split: longer pieces are cut to their first
// kMaxPiece characters before they are trimmed.
constexpr std::size_t kMaxPiece = 400;

// Removes every byte with a code of 32 or less (blanks and control
// characters) from both ends.  Bytes of 128 and above are ordinary.
void trim_ctl(std::string& s);

// Folds ASCII "A" to "Z" to lower case; other bytes are unchanged.
void fold_ascii_lower(std::string& s);

// True when `a` and `b` are equal ignoring ASCII case.  Independent of the
// process locale.
bool equal_ascii_nocase(const std::string& a, const std::string& b);

// Splits `text` at every character of `seps` that is outside quotes and
// appends the pieces to `out`, each cut to kMaxPiece characters and then
// trimmed with trim_ctl().  A single or double quote opens a quoted run that
// the same quote character closes (an unclosed run lasts to the end); the
// quote characters stay in the pieces.  Empty pieces are kept when
// `keep_empty` is true and dropped otherwise.  An empty text gives one empty
// piece (or none).
void split_quoted(const std::string& text, const char* seps, bool keep_empty,
                  std::vector<std::string>& out);

// Reads a number the way strtol(text, nullptr, 0) does with a 32-bit long:
// leading blanks skipped, an optional sign, "0x" for hexadecimal, a leading
// "0" for octal, trailing text ignored, no digits giving 0.  Values outside
// the 32-bit range saturate to INT32_MIN / INT32_MAX on every target, so
// x86_64 reads a file exactly as the 32-bit product does.
int32_t config_number(const std::string& text);

// ---- Word tables for configuration values: an entry pairs a value with a
// list of synonyms ("short,simple"); an entry whose word list is null ends
// a table.

template <typename T>
struct token_map {
  T value;
  const char* words;  // synonyms separated by "," or ";"; null ends the table
};

// Words of the key "style".  256 ("none") stands above the eight style bits
// on purpose: it is a bit of its own, not an empty mask.
extern const token_map<int> style_tokens[];
// Words of the keys "level" and "console_level".
extern const token_map<int> level_tokens[];

// Looks `word` up in `table`, ignoring ASCII case (the word is not trimmed).
// Returns 0 and stores the first matching entry's value, or returns -1 and
// leaves `value` unchanged.
template <typename T>
int get_maped_token(T& value, const std::string& word, const token_map<T>* table);

}  // namespace KAVRI_LOG

// ---- Storage policy of the configuration record: where read_config()
// fetches its values from.  Log_Cfg_Heap names the source (a section of a file);
// Log_Cfg_Heap_Reg reads keys from that section of a text file of
// "[section]" headers and "key = value" lines.
//
// read_config() creates one object on its stack for the length of one read.
// The object keeps no copy of the file: every get_string_value() call opens,
// scans and closes it anew, so edits between calls are seen.  Objects are
// not copyable; one object must not be used by two threads at once, but
// distinct objects are independent.

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

// Reads keys from a section of a configuration file.
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

#endif  // TAVN_LOG_LOG_CFG_READER_H_
