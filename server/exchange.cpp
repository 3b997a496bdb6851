#include "server/exchange.h"

namespace tavn::server {

HttpResponse text_response(const HttpRequest& request, http::status status, std::string body,
                           const char* content_type) {
  HttpResponse res{status, request.version()};
  res.set(http::field::content_type, content_type);
  if (body.empty() || body.back() != '\n') body += '\n';
  res.body() = std::move(body);
  return res;
}

}  // namespace tavn::server
