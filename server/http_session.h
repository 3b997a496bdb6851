// Serves one accepted connection of tavnd: HTTP/1.1 requests one after
// another (keep-alive), each read within the read timeout once its first
// byte came, the connection closed after the idle timeout without one.
// Before a route sees a request: 401 without the right token (when one is
// set), 404 or 405 for no route, 413 for a body over the route's limit, 503
// while draining; each refusal is logged with its reason.
//
// Not thread-safe: runs on the io_context's thread; `context` must outlive
// the connection.
#ifndef TAVN_SERVER_HTTP_SESSION_H_
#define TAVN_SERVER_HTTP_SESSION_H_

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>

#include "server/http_context.h"

namespace tavn::server {

void serve_connection(boost::asio::ip::tcp::socket socket, HttpContext& context);
void serve_connection(boost::asio::local::stream_protocol::socket socket, HttpContext& context);

}  // namespace tavn::server

#endif  // TAVN_SERVER_HTTP_SESSION_H_
