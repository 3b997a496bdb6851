// tavnd's own metrics, registered in one place so that their names, help
// texts and labels are the same wherever they are updated:
//
//   tavnd_http_requests_total{route,status}  answers sent, by route and status
//   tavnd_synthesis_seconds                  time from a request's start to its
//                                            last audio byte (histogram)
//   tavnd_queue_length                       requests waiting for a worker
//   tavnd_workers, tavnd_workers_busy        worker processes, and those speaking
//   tavnd_worker_restarts_total              workers replaced after they ended
//   tavnd_cache_hits_total, _misses_total    prompt cache look-ups (see watch_cache)
//   tavnd_cache_bytes, tavnd_cache_entries   what it holds on disk
//   tavnd_cache_evictions_total, _corrupt_entries_total, _write_failures_total
//
// Thread safety as MetricsRegistry: update from any thread.
#ifndef TAVN_SERVER_METRICS_SERVER_METRICS_H_
#define TAVN_SERVER_METRICS_SERVER_METRICS_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "server/cache/prompt_cache.h"
#include "server/metrics/metrics_registry.h"

namespace tavn::server {

// The worker pool's state as the metrics show it.
struct WorkerCounts {
  uint64_t workers = 0, busy = 0, queued = 0, restarts = 0;
};

class ServerMetrics {
 public:
  explicit ServerMetrics(MetricsRegistry& registry);

  // Counts one answer.  `route` is the route's pattern from the server's own
  // table ("/v1/speak"), or "other" for a path that matched none: never the
  // path a client sent.
  void request_done(std::string_view route, int status);

  Histogram& synthesis_seconds;

  // Publishes the pool's counts, read by `read` when the metrics are
  // rendered (on the rendering thread).  Call at most once.
  void watch_workers(std::function<WorkerCounts()> read);

  // Publishes `cache`'s counts; call at most once, with a cache that
  // outlives the registry's rendering.
  void watch_cache(const PromptCache& cache);

 private:
  MetricsRegistry& registry_;
  CounterFamily& requests_;
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_METRICS_SERVER_METRICS_H_
