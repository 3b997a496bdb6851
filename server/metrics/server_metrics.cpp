#include "server/metrics/server_metrics.h"

#include <memory>

namespace tavn::server {

ServerMetrics::ServerMetrics(MetricsRegistry& registry)
    : synthesis_seconds(registry.histogram(
          "tavnd_synthesis_seconds", "Time from a speaking request's start to its last audio byte.",
          {0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 30, 60})),
      registry_(registry),
      requests_(registry.counter_family("tavnd_http_requests_total",
                                        "HTTP answers sent, by route and status.",
                                        {"route", "status"})) {}

void ServerMetrics::request_done(std::string_view route, int status) {
  requests_.with({std::string(route), std::to_string(status)}).add();
}

void ServerMetrics::watch_workers(std::function<WorkerCounts()> read) {
  auto counts = std::make_shared<std::function<WorkerCounts()>>(std::move(read));
  const auto gauge = [counts](uint64_t WorkerCounts::*field) {
    return [counts, field] { return static_cast<double>((*counts)().*field); };
  };
  registry_.gauge_fn("tavnd_queue_length", "Requests waiting for a free worker.",
                     gauge(&WorkerCounts::queued));
  registry_.gauge_fn("tavnd_workers", "Worker processes in the pool.",
                     gauge(&WorkerCounts::workers));
  registry_.gauge_fn("tavnd_workers_busy", "Worker processes speaking a request.",
                     gauge(&WorkerCounts::busy));
  registry_.counter_fn("tavnd_worker_restarts_total", "Worker processes replaced after they ended.",
                       [counts] { return (*counts)().restarts; });
}

void ServerMetrics::watch_cache(const PromptCache& cache) {
  const PromptCache* c = &cache;
  registry_.counter_fn("tavnd_cache_hits_total", "Prompt cache look-ups served from disk.",
                       [c] { return c->stats().hits; });
  registry_.counter_fn("tavnd_cache_misses_total", "Prompt cache look-ups that rendered.",
                       [c] { return c->stats().misses; });
  registry_.gauge_fn("tavnd_cache_bytes", "Bytes of the prompt cache's entries on disk.",
                     [c] { return static_cast<double>(c->stats().bytes); });
  registry_.gauge_fn("tavnd_cache_entries", "Entries in the prompt cache.",
                     [c] { return static_cast<double>(c->stats().entries); });
  registry_.counter_fn("tavnd_cache_evictions_total",
                       "Prompt cache entries removed to keep within its limits.",
                       [c] { return c->stats().evicted; });
  registry_.counter_fn("tavnd_cache_corrupt_entries_total",
                       "Prompt cache entries found damaged on reading and removed.",
                       [c] { return c->stats().corrupt; });
  registry_.counter_fn("tavnd_cache_write_failures_total",
                       "Answers not stored in the prompt cache: write error or too large.",
                       [c] { return c->stats().write_failures; });
}

}  // namespace tavn::server
