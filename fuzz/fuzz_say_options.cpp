// tavn-say's command line.  Input: the arguments, separated by line breaks;
// a first byte '<' (taken off) says standard input is no terminal.  An
// accepted command line must ask for a request the front end takes whole:
// strings within their limits, a known format, at most one user of
// standard output and one source of text.
#include <string>
#include <vector>

#include "fuzz/fuzz_tmp.h"
#include "tools/say_options.h"
#include "tools/speech_marks.h"

namespace {

bool known_format(uint32_t f) { return f <= 30 || (f >= 101 && f <= 104); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using tavn::say::SayOptions;
  std::string in(reinterpret_cast<const char*>(data), size);
  SayOptions o;
  o.stdin_is_terminal = in.empty() || in[0] != '<';
  if (!o.stdin_is_terminal) in.erase(0, 1);

  std::vector<std::string> words = {"tavn-say"};
  for (size_t begin = 0;;) {
    const size_t nl = in.find('\n', begin);
    words.push_back(in.substr(begin, nl - begin));
    if (nl == std::string::npos) break;
    begin = nl + 1;
  }
  std::vector<const char*> argv;
  for (const std::string& w : words) argv.push_back(w.c_str());
  // A format name or number is at most a few dozen bytes: the first few
  // words suffice (long inputs split into thousands of words).
  for (size_t i = 1; i < words.size() && i <= 8; ++i) {
    const std::string& w = words[i];
    uint32_t f = 12345;
    check(!tavn::say::parse_format(w, &f) ? f == 12345 : known_format(f));
  }

  const std::string message =
      tavn::say::parse_say_options(static_cast<int>(argv.size()), argv.data(), &o);
  if (!message.empty() || o.help || o.list_voices) return 0;

  check(!o.has_format || known_format(o.format));
  check(o.conn1.size() <= tavn::say::kMaxConn1 && o.conn2.size() <= tavn::say::kMaxConn2);
  const std::string params = tavn::say::build_params(o);
  check(params.size() <= tavn::say::kMaxParams &&
        params.compare(0, o.params.size(), o.params) == 0);
  const std::string others = tavn::say::without_format_items(o.params);
  check(others.size() <= o.params.size() && others.find(",5=") == std::string::npos &&
        others.compare(0, 2, "5=") != 0);
  // One source of text: a named file, standard input, or the words.
  check(!(o.is_file && o.text_from_stdin) && (!o.is_file || !o.text.empty()));
  check(o.text_from_stdin || o.is_file || argv.size() > 1);
  check(!o.out.empty());
  const int to_stdout = (o.out == "-") + (o.synch && o.synch_file.empty()) +
                        (!o.marks_format.empty() && o.marks_file.empty());
  check(to_stdout <= 1);
  if (!o.marks_format.empty()) {
    tavn::say::MarksFormat format;
    check(tavn::say::parse_marks_format(o.marks_format, &format) &&
          tavn::say::requested_format(o) <= 100);
  }
  return 0;
}
