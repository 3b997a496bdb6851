// The error answer of every JSON route: an HTTP status and the body
//   {"error":{"message":"...","type":"...","param":"..."|null}}
// in the shape that clients of the widely used speech endpoint read.
//
// Plain values and pure functions: safe from any thread.
#ifndef TAVN_SERVER_API_API_ERROR_H_
#define TAVN_SERVER_API_API_ERROR_H_

#include <string>
#include <string_view>

namespace tavn::server {

struct ApiError {
  int status = 400;
  std::string message;  // one sentence for people, UTF-8
  std::string param;    // the request field at fault; "" = none (null in JSON)

  // The "type" member, from the status: 400 invalid_request_error,
  // 401 authentication_error, 404 not_found_error, 405 method_not_allowed,
  // 413 request_too_large, 415 unsupported_media_type, 416
  // range_not_satisfiable, 429 and 503
  // server_busy, anything else server_error.
  const char* type() const;

  // The JSON body above.  Bytes of `message` or `param` that are not UTF-8
  // become U+FFFD, so the body is always valid JSON.
  std::string body() const;
};

// A 400 answer about `param`.
ApiError bad_field(std::string_view param, std::string message);

// `value` cut to at most `limit` bytes without splitting a UTF-8
// character, for quoting what a client sent inside a message.  A longer
// value ends in "...".
std::string quote_value(std::string_view value, size_t limit = 48);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_API_ERROR_H_
