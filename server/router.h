// The routes of tavnd: method and path to handler.
//
// Built before the server starts and read-only afterwards: safe to read
// from any thread once built.  Paths match exactly (the query string is not
// part of the path).
#ifndef TAVN_SERVER_ROUTER_H_
#define TAVN_SERVER_ROUTER_H_

#include <boost/beast/http/verb.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "server/exchange.h"

namespace tavn::server {

struct Route {
  http::verb method = http::verb::get;
  std::string path;     // e.g. "/v1/engine"
  size_t max_body = 0;  // request body bytes accepted; a larger one gets 413
  Handler handler;
};

class Router {
 public:
  // Adds `route`; a later route for the same method and path replaces it.
  void add(Route route);

  // The route for `method` and `target` (its query string ignored), or null;
  // then `*path_known` says whether another method has the path (405 rather
  // than 404).
  const Route* find(http::verb method, std::string_view target, bool* path_known) const;

 private:
  std::vector<Route> routes_;
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_ROUTER_H_
