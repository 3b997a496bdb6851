// What every connection of tavnd shares: its limits, the token, the routes
// and the set of open connections (for the connection limit and draining).
//
// Not thread-safe: used on the io_context's thread only.
#ifndef TAVN_SERVER_HTTP_CONTEXT_H_
#define TAVN_SERVER_HTTP_CONTEXT_H_

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "server/router.h"
#include "server/server_options.h"

namespace tavn::server {

class Connection {
 public:
  virtual ~Connection() = default;
  // Closes the connection unless a request is being answered on it.
  virtual void close_if_idle() = 0;
  // Closes the connection, whatever runs on it.
  virtual void close_now() = 0;
};

struct HttpContext {
  Millis read_timeout{10'000};  // to read a request once its first byte came
  Millis idle_timeout{60'000};  // waiting for a request, or for the client to take a chunk
  size_t max_connections = 256;
  std::string token;  // "": no token needed
  const Router* router = nullptr;
  bool draining = false;  // answer what runs, take no new request
  std::set<Connection*> connections;
  std::function<void()> on_connection_closed;  // called after one leaves `connections`
  // Called as each answer's status line leaves: the route's path (or
  // "other" when none matched), the status.
  std::function<void(std::string_view route, int status)> on_answer;
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_HTTP_CONTEXT_H_
