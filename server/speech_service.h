// The routes for programs and people, and what they share: the installed
// voices, the prompt cache, the metrics.
//
//   POST /v1/audio/speech, POST /v1/speak   speak (speak_job.h)
//   GET  /v1/audio?key=HEX                  a stored answer again (the
//                                           address given with marks)
//   GET  /v1/voices                         voices and formats (voice_catalog.h)
//   GET  /metrics                           Prometheus text
//   GET  /readyz                            200 when workers run, else 503
//   GET  /, /index.html, /style.css, /app.js   the page to listen
//
// Every answer is counted in the metrics by route and status (through
// HttpContext::on_answer).
//
// Not thread-safe: built, started and used on the io_context's thread.
#ifndef TAVN_SERVER_SPEECH_SERVICE_H_
#define TAVN_SERVER_SPEECH_SERVICE_H_

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>

#include "server/api/api_error.h"
#include "server/api/speech_request.h"
#include "server/cache/prompt_cache.h"
#include "server/exchange.h"
#include "server/http_context.h"
#include "server/metrics/server_metrics.h"
#include "server/router.h"
#include "server/server_options.h"
#include "server/worker_pool.h"

namespace tavn::server {

class SpeechService {
 public:
  // `io`, `pool` and `context` must outlive the service.
  SpeechService(boost::asio::io_context& io, WorkerPool& pool, HttpContext& context);
  ~SpeechService();

  void add_routes(Router* router);

  // Before serving, once privileges are dropped: learns the voices from
  // `program --list-voices` and opens the cache (--cache-dir, else
  // $CACHE_DIRECTORY, $XDG_CACHE_HOME/tavnd, ~/.cache/tavnd; none with
  // --no-cache).  Neither failing stops the server: it is logged, and the
  // speaking routes then answer 503 (no voices) or run without the cache.
  void start(const ServerOptions& options, const std::string& program);

  boost::asio::io_context& io() { return io_; }
  WorkerPool& pool() { return pool_; }
  PromptCache* cache() { return cache_.get(); }  // null: no cache
  ServerMetrics& metrics() { return metrics_; }
  const VoiceNames& voices() const { return voices_; }
  bool voices_known() const { return voices_known_; }
  const std::string& engine_version() const { return engine_version_; }

 private:
  boost::asio::io_context& io_;
  WorkerPool& pool_;
  HttpContext& context_;
  MetricsRegistry registry_;
  ServerMetrics metrics_;
  std::unique_ptr<PromptCache> cache_;
  VoiceNames voices_;
  bool voices_known_ = false;
  std::string voices_json_;
  std::string engine_version_;
};

// A JSON error answer to `exchange` (503 and 429 carry Retry-After: 1).
void respond_error(const std::shared_ptr<Exchange>& exchange, const ApiError& error);

}  // namespace tavn::server

#endif  // TAVN_SERVER_SPEECH_SERVICE_H_
