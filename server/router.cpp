#include "server/router.h"

namespace tavn::server {

void Router::add(Route route) {
  for (Route& r : routes_) {
    if (r.method == route.method && r.path == route.path) {
      r = std::move(route);
      return;
    }
  }
  routes_.push_back(std::move(route));
}

const Route* Router::find(http::verb method, std::string_view target, bool* path_known) const {
  const std::string_view path = target.substr(0, target.find('?'));
  *path_known = false;
  for (const Route& r : routes_) {
    if (r.path != path) continue;
    if (r.method == method) return &r;
    *path_known = true;
  }
  return nullptr;
}

}  // namespace tavn::server
