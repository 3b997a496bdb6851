#include "server/speech_service.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "server/api/voice_catalog.h"
#include "server/cache/cache_key.h"
#include "server/server_log.h"
#include "server/speak_job.h"
#include "server/voice_listing.h"
#include "server/web/web_assets.h"

namespace tavn::server {
namespace {

HttpResponse answer(const HttpRequest& req, http::status status, std::string body,
                    const char* type) {
  HttpResponse res{status, req.version()};
  res.set(http::field::content_type, type);
  res.body() = std::move(body);
  return res;
}

// The folder of the cache when --cache-dir is not given; "" for none.
std::string default_cache_dir() {
  if (const char* d = std::getenv("CACHE_DIRECTORY"); d != nullptr && *d == '/') return d;
  if (const char* d = std::getenv("XDG_CACHE_HOME"); d != nullptr && *d == '/')
    return std::string(d) + "/tavnd";
  if (const char* d = std::getenv("HOME"); d != nullptr && *d == '/')
    return std::string(d) + "/.cache/tavnd";
  return "";
}

// The value of `name` in the query string of `target`, or "".
std::string_view query_value(std::string_view target, std::string_view name) {
  const size_t q = target.find('?');
  if (q == std::string_view::npos) return {};
  std::string_view rest = target.substr(q + 1);
  while (!rest.empty()) {
    const size_t amp = std::min(rest.find('&'), rest.size());
    const std::string_view item = rest.substr(0, amp);
    if (item.size() > name.size() && item.substr(0, name.size()) == name &&
        item[name.size()] == '=')
      return item.substr(name.size() + 1);
    rest.remove_prefix(std::min(amp + 1, rest.size()));
  }
  return {};
}

void serve_page_file(const std::shared_ptr<Exchange>& ex, const WebAsset& file) {
  const HttpRequest& req = ex->request();
  const auto tags = req[http::field::if_none_match];
  HttpResponse res{http::status::ok, req.version()};
  if (!tags.empty() && if_none_match(tags, file.etag)) {
    res.result(http::status::not_modified);
  } else {
    res.set(http::field::content_type, file.media_type);
    res.body() = std::string(file.body());
  }
  res.set(http::field::etag, file.etag);
  res.set(http::field::cache_control, "no-cache");
  res.set("Content-Security-Policy", kPageSecurityPolicy);
  res.set("X-Content-Type-Options", "nosniff");
  ex->respond(std::move(res));
}

}  // namespace

void respond_error(const std::shared_ptr<Exchange>& exchange, const ApiError& error) {
  HttpResponse res = answer(exchange->request(), static_cast<http::status>(error.status),
                            error.body(), "application/json");
  if (error.status == 503 || error.status == 429) res.set(http::field::retry_after, "1");
  exchange->respond(std::move(res));
}

SpeechService::SpeechService(boost::asio::io_context& io, WorkerPool& pool, HttpContext& context)
    : io_(io), pool_(pool), context_(context), metrics_(registry_) {
  context_.on_answer = [this](std::string_view route, int status) {
    metrics_.request_done(route, status);
  };
  metrics_.watch_workers([this] {
    const PoolStats s = pool_.stats();
    return WorkerCounts{s.workers, s.busy, s.queued, s.replaced};
  });
}

SpeechService::~SpeechService() { context_.on_answer = nullptr; }

void SpeechService::start(const ServerOptions& options, const std::string& program) {
  engine_version_ = server::engine_version();
  std::string listing, why;
  if (list_voices_of(program, &listing, &why)) {
    const auto voices = parse_voice_list(listing);
    voices_ = voice_names(voices);
    voices_json_ = voices_json(voices);
    voices_known_ = true;
  } else {
    log_line("the speaking routes answer 503: " + why);
  }
  if (options.no_cache) return;
  PromptCache::Options o;
  o.dir = options.cache_dir.empty() ? default_cache_dir() : options.cache_dir;
  o.max_bytes = options.cache_mib << 20;
  if (o.dir.empty()) {
    log_line("no cache: no --cache-dir, and no folder from the environment");
    return;
  }
  cache_ = PromptCache::open(o, &why);
  if (cache_ == nullptr) {
    log_line("no cache: " + why);
    return;
  }
  metrics_.watch_cache(*cache_);
  const PromptCache::Stats s = cache_->stats();
  log_line("cache " + o.dir + ": " + std::to_string(s.entries) + " entries, " +
           std::to_string(s.bytes >> 20) + " of " + std::to_string(options.cache_mib) + " MiB");
}

void SpeechService::add_routes(Router* router) {
  router->add({http::verb::post, "/v1/audio/speech", kMaxBodyBytes,
               [this](const std::shared_ptr<Exchange>& ex) {
                 handle_speak(this, SpeechRoute::kAudioSpeech, ex);
               }});
  router->add(
      {http::verb::post, "/v1/speak", kMaxBodyBytes, [this](const std::shared_ptr<Exchange>& ex) {
         handle_speak(this, SpeechRoute::kSpeak, ex);
       }});
  router->add({http::verb::get, "/v1/audio", 0, [this](const std::shared_ptr<Exchange>& ex) {
                 const std::string hex(query_value(ex->request().target(), "key"));
                 std::shared_ptr<PromptCache::Entry> entry =
                     cache_ == nullptr ? nullptr : cache_->find_by_name(hex);
                 if (entry == nullptr) {
                   return respond_error(ex, ApiError{404, "no stored answer has this key", "key"});
                 }
                 const auto meta = nlohmann::json::parse(entry->meta(), nullptr, false);
                 StreamHeader h{http::status::ok, ex->request().version()};
                 h.set(http::field::content_type,
                       meta.is_object() && meta.value("media_type", "") != ""
                           ? meta.value("media_type", "")
                           : std::string("application/octet-stream"));
                 h.set(http::field::etag, "W/\"" + hex + "\"");
                 h.set("Tavn-Cache", "hit");
                 const auto tags = ex->request()[http::field::if_none_match];
                 if (!tags.empty() && if_none_match(tags, "W/\"" + hex + "\"")) {
                   HttpResponse res{http::status::not_modified, ex->request().version()};
                   res.set(http::field::etag, "W/\"" + hex + "\"");
                   return ex->respond(std::move(res));
                 }
                 send_stored(ex, std::move(entry), std::move(h));
               }});
  router->add({http::verb::get, "/v1/voices", 0, [this](const std::shared_ptr<Exchange>& ex) {
                 if (!voices_known_) {
                   return respond_error(
                       ex, ApiError{503, "the server could not list its voices (see its log)", ""});
                 }
                 ex->respond(
                     answer(ex->request(), http::status::ok, voices_json_, "application/json"));
               }});
  router->add({http::verb::get, "/metrics", 0, [this](const std::shared_ptr<Exchange>& ex) {
                 ex->respond(answer(ex->request(), http::status::ok, registry_.render(),
                                    "text/plain; version=0.0.4; charset=utf-8"));
               }});
  router->add({http::verb::get, "/readyz", 0, [this](const std::shared_ptr<Exchange>& ex) {
                 const PoolStats s = pool_.stats();
                 const bool ready = s.workers > 0 && !context_.draining && voices_known_;
                 ex->respond(answer(ex->request(),
                                    ready ? http::status::ok : http::status::service_unavailable,
                                    std::string("{\"ready\":") + (ready ? "true" : "false") +
                                        ",\"workers\":" + std::to_string(s.workers) + "}",
                                    "application/json"));
               }});
  for (const char* path : {"/", "/index.html", "/style.css", "/app.js"}) {
    const WebAsset* file = find_web_asset(path);
    router->add({http::verb::get, path, 0,
                 [file](const std::shared_ptr<Exchange>& ex) { serve_page_file(ex, *file); }});
  }
}

}  // namespace tavn::server
