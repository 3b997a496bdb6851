// The master process of tavnd: its listeners, connections and routes, the
// worker pool, and its signals.
//
//   SIGTERM, SIGINT  stop accepting, close idle connections, let running and
//                    queued requests finish (up to the drain timeout), then
//                    end the workers and return 0
//   SIGHUP           read the configuration file again and apply what can
//                    change while running (see reload()); a file with an
//                    error changes nothing
//
// One thread runs everything; a Master is not thread-safe.
#ifndef TAVN_SERVER_MASTER_H_
#define TAVN_SERVER_MASTER_H_

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <string>
#include <vector>

#include "server/http_context.h"
#include "server/http_listener.h"
#include "server/router.h"
#include "server/server_options.h"
#include "server/speech_service.h"
#include "server/worker_pool.h"

namespace tavn::server {

class Master {
 public:
  // `command_line` is kept for SIGHUP, which rebuilds the options from the
  // file and it.
  Master(const ServerOptions& options, OptionItems command_line);
  ~Master();

  // Routes beyond the built-in ones (POST /v1/engine, GET /healthz and
  // those of SpeechService) are
  // added here before run(); the pool serves speech to any of them.
  Router& router() { return router_; }
  WorkerPool& pool() { return pool_; }
  HttpContext& context() { return context_; }

  // Binds, drops privileges, starts the workers and serves until SIGTERM.
  // Returns the exit status: 0 after SIGTERM, 1 when it could not start.
  int run();

 private:
  void watch_signals();
  void watch_reload();
  void drain();
  void reload();
  void check_drained();
  void shut_down();
  bool load_token(const std::string& path, std::string* why);

  boost::asio::io_context io_;
  ServerOptions options_;
  OptionItems command_line_;
  HttpContext context_;
  Router router_;
  WorkerPool pool_;
  std::unique_ptr<SpeechService> speech_;  // the routes for programs and people
  std::vector<std::unique_ptr<Listener>> listeners_;
  boost::asio::signal_set stop_signals_;
  boost::asio::signal_set reload_signal_;
  boost::asio::steady_timer drain_timer_;
};

// The number of workers for `options` (one per core when not set).
unsigned worker_count(const ServerOptions& options);

// Reads the configuration file named in `command_line` (if any) and builds
// the options; false with a message in `*why`.
bool load_options(const OptionItems& command_line, ServerOptions* out, std::string* why);

}  // namespace tavn::server

#endif  // TAVN_SERVER_MASTER_H_
