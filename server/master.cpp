#include "server/master.h"

#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

#include "server/bearer_token.h"
#include "server/engine_route.h"
#include "server/health_route.h"
#include "server/privileges.h"
#include "server/server_log.h"

namespace tavn::server {
namespace {

PoolSettings pool_settings(const ServerOptions& o) {
  PoolSettings s;
  s.workers = worker_count(o);
  s.queue = o.queue;
  s.request_timeout = o.request_timeout;
  s.audio_root = o.audio_root;
  return s;
}

}  // namespace

unsigned worker_count(const ServerOptions& options) {
  if (options.workers != 0) return options.workers;
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : cores;
}

bool load_options(const OptionItems& command_line, ServerOptions* out, std::string* why) {
  std::string config_file;
  for (const OptionItem& item : command_line) {
    if (item.key == "config") config_file = item.value;
  }
  OptionItems config;
  if (!config_file.empty()) {
    std::ifstream in(config_file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    if (!in) {
      *why = "cannot read the configuration file " + config_file;
      return false;
    }
    if (!read_config_text(text.str(), &config, why)) {
      *why = config_file + ": " + *why;
      return false;
    }
  }
  return build_options(config, command_line, out, why);
}

Master::Master(const ServerOptions& options, OptionItems command_line)
    : options_(options),
      command_line_(std::move(command_line)),
      pool_(io_, pool_settings(options)),
      stop_signals_(io_, SIGTERM, SIGINT),
      reload_signal_(io_, SIGHUP),
      drain_timer_(io_) {
  context_.read_timeout = options.read_timeout;
  context_.idle_timeout = options.idle_timeout;
  context_.max_connections = options.max_connections;
  context_.router = &router_;
  context_.on_connection_closed = [this] { check_drained(); };
  add_engine_route(&router_, &pool_);
  add_health_route(&router_, &pool_, &context_);
  speech_ = std::make_unique<SpeechService>(io_, pool_, context_);
  speech_->add_routes(&router_);
}

Master::~Master() { shut_down(); }

bool Master::load_token(const std::string& path, std::string* why) {
  if (path.empty()) {
    context_.token.clear();
    return true;
  }
  return read_token_file(path, &context_.token, why);
}

int Master::run() {
  std::signal(SIGPIPE, SIG_IGN);
  std::string why;
  if (!load_token(options_.token_file, &why)) {
    log_line(why);
    return 1;
  }
  std::vector<std::string> unix_paths;
  for (const ListenAddress& a : options_.listen) {
    auto listener = open_listener(io_, a, context_, &why);
    if (!listener) {
      log_line(why);
      return 1;
    }
    if (!listener->unix_path().empty()) unix_paths.push_back(listener->unix_path());
    listeners_.push_back(std::move(listener));
  }
  why = drop_privileges(options_.user, unix_paths);
  if (!why.empty()) {
    log_line(why);
    return 1;
  }
  speech_->start(options_, pool_settings(options_).program);
  pool_.start();
  watch_signals();
  std::string where;
  for (const auto& l : listeners_) where += (where.empty() ? "" : ", ") + l->address();
  log_line("listening on " + where + " with " + std::to_string(worker_count(options_)) +
           " workers" + (context_.token.empty() ? "" : ", token required"));
  io_.run();
  shut_down();
  log_line("stopped");
  return 0;
}

void Master::shut_down() {
  boost::system::error_code ignored;
  stop_signals_.cancel(ignored);
  reload_signal_.cancel(ignored);
  drain_timer_.cancel();
  listeners_.clear();
  pool_.stop(Millis(2000));
  // Connections still open after the drain timeout are closed, and the
  // handlers that hold them run once more, so that none outlives the context.
  context_.on_connection_closed = nullptr;
  std::vector<Connection*> open(context_.connections.begin(), context_.connections.end());
  for (Connection* c : open) {
    if (context_.connections.count(c) != 0) c->close_now();
  }
  io_.restart();
  io_.run_for(std::chrono::seconds(2));
}

void Master::watch_signals() {
  stop_signals_.async_wait([this](boost::system::error_code ec, int) {
    if (!ec) drain();
  });
  watch_reload();
}

void Master::watch_reload() {
  reload_signal_.async_wait([this](boost::system::error_code ec, int) {
    if (ec) return;
    reload();
    watch_reload();
  });
}

void Master::drain() {
  log_line("stopping: " + std::to_string(context_.connections.size()) +
           " connections open; running requests may take " +
           std::to_string(options_.drain_timeout.count()) + " ms");
  context_.draining = true;
  for (auto& l : listeners_) l->close();
  // close_if_idle may end a connection, which leaves the set.
  std::vector<Connection*> open(context_.connections.begin(), context_.connections.end());
  for (Connection* c : open) {
    if (context_.connections.count(c) != 0) c->close_if_idle();
  }
  drain_timer_.expires_after(options_.drain_timeout);
  drain_timer_.async_wait([this](boost::system::error_code ec) {
    if (ec) return;
    log_line("drain timeout: " + std::to_string(context_.connections.size()) +
             " connections still open; stopping");
    io_.stop();
  });
  check_drained();
}

void Master::check_drained() {
  if (context_.draining && context_.connections.empty()) {
    drain_timer_.cancel();
    io_.stop();
  }
}

void Master::reload() {
  ServerOptions next;
  std::string why;
  if (!load_options(command_line_, &next, &why)) {
    log_line("SIGHUP: configuration not changed: " + why);
    return;
  }
  std::string token = context_.token;
  if (!load_token(next.token_file, &why)) {
    context_.token = token;
    log_line("SIGHUP: configuration not changed: " + why);
    return;
  }
  if (next.log_file != options_.log_file || !next.log_file.empty()) {
    const std::string failed = log_to(next.log_file);
    if (!failed.empty()) log_line("SIGHUP: " + failed);
  }
  context_.read_timeout = next.read_timeout;
  context_.idle_timeout = next.idle_timeout;
  context_.max_connections = next.max_connections;
  pool_.set_queue_limit(next.queue);
  pool_.set_request_timeout(next.request_timeout);
  std::string kept;
  const auto keep = [&kept](bool changed, const char* name) {
    if (changed) kept += std::string(kept.empty() ? "" : ", ") + name;
  };
  std::vector<std::string> a, b;
  for (const auto& l : options_.listen) a.push_back(l.text);
  for (const auto& l : next.listen) b.push_back(l.text);
  keep(a != b, "listen");
  keep(worker_count(next) != worker_count(options_), "workers");
  keep(next.user != options_.user, "user");
  keep(next.audio_root != options_.audio_root, "audio-root");
  // What cannot change live stays as it was, so a later reload compares
  // with what runs.
  next.listen = options_.listen;
  next.workers = options_.workers;
  next.user = options_.user;
  next.audio_root = options_.audio_root;
  options_ = next;
  log_line("SIGHUP: configuration read again" +
           (kept.empty() ? std::string() : "; " + kept + " change only with a restart"));
}

}  // namespace tavn::server
