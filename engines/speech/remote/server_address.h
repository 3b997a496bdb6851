// Where a speech server listens, as a connection string names it:
//
//   unix:/run/tavn/tavnd.sock   a Unix socket (an absolute path)
//   127.0.0.1:7010              an IPv4 address and a port
//   [::1]:7010                  an IPv6 address in brackets and a port
//   localhost:7010              127.0.0.1
//
// Host names other than localhost are not looked up: the engine resolves no
// names, so no request ever waits on a name server.  Ports are 1 to 65535.
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_REMOTE_SERVER_ADDRESS_H_
#define TAVN_ENGINES_SPEECH_REMOTE_SERVER_ADDRESS_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace tavn::speech {

struct ServerAddress {
  bool is_unix = false;
  std::string path;  // is_unix: the socket's path
  std::string host;  // otherwise: a numeric IPv4 or IPv6 address, no brackets
  uint16_t port = 0;
};

// Reads `text` into `*out`.  False (`*out` unspecified) for anything that
// is not one of the forms above, including a Unix path longer than a
// socket address holds.  `port_zero` also takes port 0 (a server about to
// listen lets the system pick one).
bool parse_server_address(std::string_view text, ServerAddress* out, bool port_zero = false);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_REMOTE_SERVER_ADDRESS_H_
