// One HTTP request and its answer, as a route sees it.
//
// A route's handler gets the exchange once the request's header and body
// have been read (and the token checked), and answers it exactly once:
// either respond() with a whole response, or begin_stream(), any number of
// write_chunk() calls, each after the previous one's `done`, then
// end_stream().  The handler may keep the shared_ptr and answer later (from
// the io_context's thread).  An exchange whose connection failed calls
// `done(false)`; the handler then stops (end_stream is then not needed).
//
// Not thread-safe: use it on the io_context's thread only.
#ifndef TAVN_SERVER_EXCHANGE_H_
#define TAVN_SERVER_EXCHANGE_H_

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tavn::server {

namespace http = boost::beast::http;

using HttpRequest = http::request<http::string_body>;
using HttpResponse = http::response<http::string_body>;
using StreamHeader = http::response<http::empty_body>;
using Done = std::function<void(bool ok)>;

class Exchange {
 public:
  virtual ~Exchange() = default;

  virtual const HttpRequest& request() const = 0;

  // Who sent it, for the log: "ADDRESS:PORT" or "unix".
  virtual const std::string& peer() const = 0;

  // Sends `response` whole (Content-Length and keep-alive are set here).
  virtual void respond(HttpResponse response) = 0;

  // Sends `header` with chunked transfer coding; `done` when it is sent.
  virtual void begin_stream(StreamHeader header, Done done) = 0;

  // Sends `bytes` as one chunk; they must stay valid until `done`.
  virtual void write_chunk(std::string_view bytes, Done done) = 0;

  // Sends the last chunk; the exchange is then over.
  virtual void end_stream() = 0;

  // Ends a stream that cannot be finished (its source failed after the
  // header left): the connection is closed without the last chunk, so the
  // client sees the answer cut short, never a complete-looking one.
  virtual void abort() = 0;
};

using Handler = std::function<void(const std::shared_ptr<Exchange>& exchange)>;

// A response to `request` with `status`, a text body (a line is added when
// `body` does not end with one) and its Content-Type.
HttpResponse text_response(const HttpRequest& request, http::status status, std::string body,
                           const char* content_type = "text/plain; charset=utf-8");

}  // namespace tavn::server

#endif  // TAVN_SERVER_EXCHANGE_H_
