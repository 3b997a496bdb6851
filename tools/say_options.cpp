#include "tools/say_options.h"

#include <cctype>
#include <cstring>

#include "synth/audio_format.h"
#include "tools/speech_marks.h"

namespace tavn::say {
namespace {

std::string upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

bool all_digits(const std::string& s) {
  if (s.empty() || s.size() > 9) return false;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// A value that goes into the engine's parameter string must stay one item.
bool plain_item(const std::string& s) {
  if (s.empty()) return false;
  for (char c : s) {
    if (c == ',' || c == ';' || c == '=' || std::isspace(static_cast<unsigned char>(c)))
      return false;
  }
  return true;
}

}  // namespace

bool parse_format(const std::string& s, uint32_t* out) {
  if (all_digits(s)) {
    const unsigned long v = std::stoul(s);
    if (v < kAudioFormatCount || (v >= 101 && v <= 104)) {
      *out = static_cast<uint32_t>(v);
      return true;
    }
    return false;
  }
  const std::string want = upper(s);
  for (uint32_t i = 0; i < kAudioFormatCount; ++i) {
    const std::string name = audio_format_table[i].name;
    if (want == name || "TTS_ADF_" + want == name) {
      *out = i;
      return true;
    }
  }
  return false;
}

uint32_t requested_format(const SayOptions& o) {
  if (o.has_format) return o.format;
  const size_t at = o.params.find("5=");
  if (at == std::string::npos) return 0;
  uint32_t v = 0;
  // Nine digits at most, as no format number is longer.
  for (size_t i = at + 2;
       i < o.params.size() && i < at + 11 && std::isdigit(static_cast<unsigned char>(o.params[i]));
       ++i)
    v = v * 10 + static_cast<uint32_t>(o.params[i] - '0');
  return v;
}

std::string without_format_items(const std::string& params) {
  std::string kept;
  for (size_t begin = 0; begin <= params.size();) {
    size_t stop = params.find_first_of(",; \t\n", begin);
    if (stop == std::string::npos) stop = params.size();
    const std::string item = params.substr(begin, stop - begin);
    if (!item.empty() && item.compare(0, 2, "5=") != 0) kept += (kept.empty() ? "" : ",") + item;
    begin = stop + 1;
  }
  return kept;
}

std::string build_params(const SayOptions& o) {
  std::string p = o.params;
  auto add = [&p](const char* key, const std::string& value) {
    if (value.empty()) return;
    if (!p.empty()) p += ',';
    p += key;
    p += '=';
    p += value;
  };
  add("voice", o.voice);
  add("rate", o.rate);
  add("pitch", o.pitch);
  add("volume", o.volume);
  if (o.has_format) add("5", std::to_string(o.format));
  add("markup", o.markup);
  return p;
}

size_t synch_capacity(size_t text_bytes) {
  // Head, then per sentence (at most one per two text bytes) a record of
  // about 60 characters plus its text, then the tail.
  return 1024 + text_bytes + 80 * (text_bytes / 2 + 2);
}

std::string parse_say_options(int argc, const char* const* argv, SayOptions* out) {
  std::vector<std::string> words;
  bool options_done = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (options_done || arg.empty() || arg[0] != '-' || arg == "-") {
      words.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    std::string value;
    bool has_inline = false;
    const size_t eq = arg.find('=');
    if (arg.compare(0, 2, "--") == 0 && eq != std::string::npos) {
      value = arg.substr(eq + 1);
      arg.resize(eq);
      has_inline = true;
    }
    // The option's value: after '=' or the next argument.
    auto take = [&](std::string* dst) -> bool {
      if (has_inline) {
        *dst = value;
        return true;
      }
      if (i + 1 >= argc) return false;
      *dst = argv[++i];
      return true;
    };
    std::string v;
    if (arg == "-h" || arg == "--help") {
      out->help = true;
    } else if (arg == "--voices") {
      out->list_voices = true;
    } else if (arg == "--ssml" || arg == "--no-ssml") {
      if (has_inline) return arg + " takes no value";
      out->markup = arg == "--ssml" ? "ssml" : "off";
    } else if (arg == "--synch") {
      out->synch = true;
      if (has_inline) {
        if (value.empty()) return "--synch=FILE needs a file name";
        out->synch_file = value;
      }
    } else if (arg == "-o" || arg == "--out") {
      if (!take(&out->out) || out->out.empty()) return "-o needs a file name";
    } else if (arg == "-f" || arg == "--file") {
      if (!take(&v) || v.empty()) return "-f needs a file name";
      // The last -f counts.
      out->text_from_stdin = v == "-";
      out->is_file = v != "-";
      out->text = out->is_file ? v : "";
    } else if (arg == "--marks") {
      MarksFormat unused;
      if (!take(&v)) return "--marks needs a format: json, srt or vtt, optionally =FILE";
      const size_t file_at = v.find('=');
      out->marks_format = v.substr(0, file_at);
      if (!parse_marks_format(out->marks_format, &unused))
        return "--marks needs a format: json, srt or vtt, optionally =FILE";
      if (file_at != std::string::npos) {
        out->marks_file = v.substr(file_at + 1);
        if (out->marks_file.empty()) return "--marks " + out->marks_format + "= needs a file name";
      }
    } else if (arg == "--format") {
      if (!take(&v) || !parse_format(v, &out->format))
        return "--format needs a format number (0-30, 101-104) or name; see --help";
      out->has_format = true;
    } else if (arg == "--voice" || arg == "--rate" || arg == "--pitch" || arg == "--volume") {
      std::string* dst = arg == "--voice"   ? &out->voice
                         : arg == "--rate"  ? &out->rate
                         : arg == "--pitch" ? &out->pitch
                                            : &out->volume;
      if (!take(dst) || !plain_item(*dst))
        return arg + " needs a value without blanks, ',', ';' or '='";
    } else if (arg == "--media-url") {
      if (!take(&out->media_url)) return "--media-url needs a value";
    } else if (arg == "--conn1" || arg == "--server") {
      // --server is the short form of --conn1 for a speech server's address.
      if (!take(&v) || (arg == "--server" && v.empty())) return arg + " needs a value";
      out->conn1 = v;
    } else if (arg == "--conn2") {
      if (!take(&out->conn2)) return "--conn2 needs a value";
    } else if (arg == "--params") {
      if (!take(&out->params)) return "--params needs a value";
    } else {
      return "unknown option " + arg + " (see --help)";
    }
  }
  if (out->help || out->list_voices) return "";

  const bool from_file = out->is_file || out->text_from_stdin;
  if (from_file && !words.empty()) return "give either -f FILE or TEXT, not both";
  if (!from_file && words.empty()) {
    if (out->stdin_is_terminal) return "nothing to say: give TEXT or -f FILE (see --help)";
    out->text_from_stdin = true;
  }
  if (!from_file) {
    for (const std::string& w : words) {
      if (!out->text.empty()) out->text += ' ';
      out->text += w;
    }
  }
  const int to_stdout = (out->out == "-") + (out->synch && out->synch_file.empty()) +
                        (!out->marks_format.empty() && out->marks_file.empty());
  if (to_stdout > 1)
    return "only one of -o -, --synch and --marks may use standard output "
           "(give --synch=FILE or --marks FORMAT=FILE)";
  if (!out->marks_format.empty() && requested_format(*out) > 100)
    return "--marks: formats 101 to 104 leave no audio file to time";
  if (out->has_format && out->params.find("5=") != std::string::npos)
    return "give the format either by --format or by 5= in --params, not both";
  if (out->conn1.size() > kMaxConn1) return "--conn1/--server is longer than 31 characters";
  if (out->conn2.size() > kMaxConn2) return "--conn2 is longer than 47 characters";
  if (build_params(*out).size() > kMaxParams)
    return "the engine parameters (--params with --voice, --rate, ...) exceed 127 characters";
  return "";
}

}  // namespace tavn::say
