// A listening socket of tavnd (TCP or Unix) handing each accepted
// connection to serve_connection, within the context's connection limit
// (a connection over it is closed at once, and logged).
//
// Not thread-safe: runs on the io_context's thread.
#ifndef TAVN_SERVER_HTTP_LISTENER_H_
#define TAVN_SERVER_HTTP_LISTENER_H_

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>

#include "server/http_context.h"
#include "server/server_options.h"

namespace tavn::server {

class Listener {
 public:
  virtual ~Listener() = default;
  // Stops accepting; a Unix socket's file is removed.
  virtual void close() = 0;
  // Where it listens, with the port actually bound ("127.0.0.1:43210",
  // "unix:/run/tavn/tavnd.sock").
  virtual std::string address() const = 0;
  // A Unix socket's file, or "".
  virtual std::string unix_path() const = 0;
};

// Binds and listens on `address` (a stale Unix socket file is replaced;
// the new one gets mode 0660).  Null with a message in `*why` when it
// cannot.  Accepting starts at once; `context` must outlive the listener.
std::unique_ptr<Listener> open_listener(boost::asio::io_context& io, const ListenAddress& address,
                                        HttpContext& context, std::string* why);

}  // namespace tavn::server

#endif  // TAVN_SERVER_HTTP_LISTENER_H_
