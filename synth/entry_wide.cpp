// TalvernSynthW: the wide-string entry point.
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>

#include "synth/func_trace.h"
#include "synth/guarded_request.h"
#include "synth/tavn.h"

using tavn::synth::guarded_request;
using tavn::synth::Log_Func_Trace;

namespace {

// The locale switch is process-wide; wide callers take turns so that none
// saves another's "chs" as the locale to restore.
std::mutex locale_mutex;

// Restores the saved locale on every way out of a conversion.
class LocaleSwitch {
 public:
  explicit LocaleSwitch(const char* name) {
    const char* current = std::setlocale(LC_ALL, nullptr);
    saved_ = current ? current : "C";
    std::setlocale(LC_ALL, name);  // not checked: without "chs" the current locale stays
  }
  ~LocaleSwitch() { std::setlocale(LC_ALL, saved_.c_str()); }
  LocaleSwitch(const LocaleSwitch&) = delete;
  LocaleSwitch& operator=(const LocaleSwitch&) = delete;

 private:
  std::string saved_;
};

// Converts one wide string under the "chs" locale into a buffer of
// 2 x L + 1 bytes: two bytes a character plus the terminator, which fits a
// double-byte encoding exactly.  Conversion stops at the first character
// the locale cannot encode.  A null pointer throws std::logic_error.
std::string narrow_chs(const wchar_t* wide) {
  std::wstring w(wide);
  std::lock_guard<std::mutex> lock(locale_mutex);
  LocaleSwitch chs("chs");
  size_t size = 2 * w.size() + 1;
  std::unique_ptr<char[]> buf(new char[size]());
  std::wcstombs(buf.get(), w.c_str(), size);
  // Longer encodings can fill every byte and leave no terminator: the read
  // stops at the buffer's end.
  return std::string(buf.get(), strnlen(buf.get(), size));
}

}  // namespace

extern "C" uint32_t TalvernSynthW(const wchar_t* text, bool is_file, const wchar_t* out_file,
                                  const wchar_t* conn_str1, const wchar_t* conn_str2,
                                  const wchar_t* params) {
  Log_Func_Trace trace("TalvernSynthW");
  std::string n_text = narrow_chs(text);
  std::string n_out = narrow_chs(out_file);
  std::string n_conn1 = narrow_chs(conn_str1);
  std::string n_conn2 = narrow_chs(conn_str2);
  std::string n_params = narrow_chs(params);
  return guarded_request(n_text.c_str(), is_file, n_out.c_str(), n_conn1.c_str(), n_conn2.c_str(),
                         n_params.c_str());
}
