// tavnd's readers of outside text: its configuration file, its command
// line and the engine parameters a request brings.  Input: the text.
// Checks that accepted options keep every setting in range, and that the
// parameters passed to a worker never carry an audio folder of the
// request's own.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "server/request_params.h"
#include "server/server_options.h"

namespace {

using namespace tavn::server;

void check_options(const std::string& text) {
  OptionItems file, line;
  std::string why;
  if (read_config_text(text, &file, &why)) {
    ServerOptions o;
    if (build_options(file, line, &o, &why)) {
      if (o.listen.empty() || o.workers > 256 || o.queue > 100'000 || o.max_connections == 0 ||
          o.read_timeout.count() <= 0 || o.idle_timeout.count() > 86'400'000)
        std::abort();
    }
  }
  // The same text as a command line, split at blanks.
  std::vector<std::string> words = {"tavnd"};
  for (size_t i = 0; i < text.size();) {
    const size_t j = text.find_first_of(" \n", i);
    words.push_back(text.substr(i, j == std::string::npos ? std::string::npos : j - i));
    i = j == std::string::npos ? text.size() : j + 1;
  }
  std::vector<const char*> argv;
  for (const std::string& w : words) argv.push_back(w.c_str());
  line.clear();
  read_command_line(static_cast<int>(argv.size()), argv.data(), &line, &why);
}

bool is_separator(char c) {
  return c == ',' || c == ';' || std::isspace(static_cast<unsigned char>(c));
}

void check_params(const std::string& text) {
  const std::string out = server_side_params(text, "/srv/audio");
  // Every item naming the audio folder is the server's own, and it is last.
  size_t found = 0;
  for (size_t i = 0; i < out.size();) {
    size_t j = i;
    while (j < out.size() && !is_separator(out[j])) ++j;
    std::string key = out.substr(i, j - i);
    key = key.substr(0, key.find('='));
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (key == "audio_root" && out.find('=', i) < j) {
      ++found;
      if (out.compare(i, j - i, "audio_root=/srv/audio") != 0 || j != out.size()) std::abort();
    }
    i = j + 1;
  }
  if (found != 1) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_options(text);
  check_params(text);
  return 0;
}
