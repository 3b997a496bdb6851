#include "server/health_route.h"

namespace tavn::server {

void add_health_route(Router* router, const WorkerPool* pool, const HttpContext* context) {
  router->add(
      {http::verb::get, "/healthz", 0, [pool, context](const std::shared_ptr<Exchange>& ex) {
         const PoolStats s = pool->stats();
         const std::string body =
             std::string("{\"status\":\"") + (context->draining ? "draining" : "ok") +
             "\",\"workers\":" + std::to_string(s.workers) + ",\"busy\":" + std::to_string(s.busy) +
             ",\"queued\":" + std::to_string(s.queued) +
             ",\"replaced\":" + std::to_string(s.replaced) +
             ",\"connections\":" + std::to_string(context->connections.size()) + "}";
         ex->respond(text_response(ex->request(), http::status::ok, body, "application/json"));
       }});
}

}  // namespace tavn::server
