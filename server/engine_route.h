// POST /v1/engine: the speech engine's wire format (remote/wire_format.h)
// served by the worker pool.
//
// The request must carry "Tavn-Wire: 1" and a body decode_request accepts;
// otherwise 400, with "Tavn-Wire" naming the version this server speaks.
// A full queue answers 503 with Retry-After at once.  An accepted request
// is answered 200 with the stream header, then each frame as its worker
// renders it, one chunk per frame, so one piece at a time is held whatever
// the text's length.  A client that goes away or stops reading (the idle
// timeout) abandons the request and its worker is replaced.
#ifndef TAVN_SERVER_ENGINE_ROUTE_H_
#define TAVN_SERVER_ENGINE_ROUTE_H_

#include "server/router.h"
#include "server/worker_pool.h"

namespace tavn::server {

// Adds the route to `router`; `pool` must outlive the server.
void add_engine_route(Router* router, WorkerPool* pool);

}  // namespace tavn::server

#endif  // TAVN_SERVER_ENGINE_ROUTE_H_
