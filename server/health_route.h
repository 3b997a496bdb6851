// GET /healthz: 200 and a one-line JSON object of the server's state:
//   {"status":"ok","workers":N,"busy":N,"queued":N,"replaced":N,"connections":N}
// ("status" is "draining" after SIGTERM).
#ifndef TAVN_SERVER_HEALTH_ROUTE_H_
#define TAVN_SERVER_HEALTH_ROUTE_H_

#include "server/http_context.h"
#include "server/router.h"
#include "server/worker_pool.h"

namespace tavn::server {

// Adds the route to `router`; `pool` and `context` must outlive the server.
void add_health_route(Router* router, const WorkerPool* pool, const HttpContext* context);

}  // namespace tavn::server

#endif  // TAVN_SERVER_HEALTH_ROUTE_H_
