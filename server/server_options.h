// tavnd's settings: read from the command line and from a configuration
// file of "key = value" lines, the command line winning.
//
// Every option has the same name in both places (without the leading "--"
// in the file): "--workers 4" and "workers = 4".  A flag (allow-root) takes
// true/false/yes/no/1/0 in the file.  "listen" may repeat; listen addresses
// given on the command line replace those of the file.
//
// Pure functions of their arguments: safe from any thread.
#ifndef TAVN_SERVER_SERVER_OPTIONS_H_
#define TAVN_SERVER_SERVER_OPTIONS_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavn::server {

using Millis = std::chrono::milliseconds;

struct ListenAddress {
  bool is_unix = false;
  std::string path;  // is_unix: the socket's file
  std::string host;  // otherwise: an IPv4 or IPv6 address, no names
  uint16_t port = 0;
  std::string text;  // as given, for messages
};

// Reads an address as the engine's connection strings name a server
// (speech::parse_server_address), port 0 included.  False with a one-line
// reason in `*why` otherwise.
bool parse_listen_address(std::string_view text, ListenAddress* out, std::string* why);

struct ServerOptions {
  std::vector<ListenAddress> listen;  // never empty after build_options
  std::string config_file;
  unsigned workers = 0;  // 0: one per core
  size_t queue = 64;
  size_t max_connections = 256;
  Millis read_timeout{10'000};
  Millis idle_timeout{60'000};
  Millis request_timeout{300'000};
  Millis drain_timeout{30'000};
  std::string token_file;
  std::string user;
  bool allow_root = false;
  std::string audio_root;
  std::string log_file;
  std::string cache_dir;  // "": $CACHE_DIRECTORY, $XDG_CACHE_HOME/tavnd or ~/.cache/tavnd
  uint64_t cache_mib = 256;
  bool no_cache = false;
  int worker_fd = -1;        // >= 0: this process is a worker on that socket
  bool list_voices = false;  // print the installed voices and exit
  bool help = false;
};

constexpr char kDefaultListen[] = "127.0.0.1:7010";

struct OptionItem {
  std::string key;  // option name without "--"
  std::string value;
};
using OptionItems = std::vector<OptionItem>;

// Reads argv[1..argc-1] ("--opt VALUE", "--opt=VALUE", flags alone) into
// `*out`.  False with a message in `*why` for an unknown option, a missing
// value or a stray argument.
bool read_command_line(int argc, const char* const* argv, OptionItems* out, std::string* why);

// Reads a configuration file's text: "key = value" lines, '#' comments and
// blank lines.  False with "line N: ..." in `*why` for a line without '=',
// an unknown key, or a key only the command line takes (config,
// worker-fd, help).
bool read_config_text(std::string_view text, OptionItems* out, std::string* why);

// Defaults, then `config`, then `command_line`.  False with a message in
// `*why` for a value out of range or malformed (the option is named).
bool build_options(const OptionItems& config, const OptionItems& command_line, ServerOptions* out,
                   std::string* why);

// The --help text.
const char* usage_text();

}  // namespace tavn::server

#endif  // TAVN_SERVER_SERVER_OPTIONS_H_
