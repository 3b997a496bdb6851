#include "server/engine_route.h"

#include "server/server_log.h"
#include "server/worker_link.h"

namespace tavn::server {
namespace {

const std::string kVersionText = std::to_string(wire::kVersion);

// Passes one request's frames from its worker to its client.
class EngineStream : public std::enable_shared_from_this<EngineStream> {
 public:
  explicit EngineStream(std::shared_ptr<Exchange> exchange) : exchange_(std::move(exchange)) {}

  void on_frame(const FrameView& frame, const Next& next) {
    const bool last = frame.type != wire::FrameType::kPiece;
    std::string_view bytes = frame.raw;
    if (!started_ || last) {
      // The stream header goes with the first frame; the last frame's bytes
      // are only lent for the call.
      held_.clear();
      if (!started_) wire::encode_stream_header(&held_);
      held_.append(frame.raw);
      bytes = held_;
    }
    auto self = shared_from_this();
    auto send = [self, bytes, last, next](bool ok) {
      if (!ok) return next(false);
      self->exchange_->write_chunk(bytes, [self, last, next](bool written) {
        if (last) {
          if (written) self->exchange_->end_stream();
          return;
        }
        next(written);
      });
    };
    if (started_) return send(true);
    started_ = true;
    StreamHeader header{http::status::ok, exchange_->request().version()};
    header.set(http::field::content_type, wire::kContentType);
    header.set(wire::kVersionHeader, kVersionText);
    exchange_->begin_stream(std::move(header), send);
  }

 private:
  std::shared_ptr<Exchange> exchange_;
  bool started_ = false;
  std::string held_;
};

void refuse(const std::shared_ptr<Exchange>& exchange, http::status status,
            const std::string& why) {
  log_line("refused a request from " + exchange->peer() + ": " +
           std::to_string(static_cast<int>(status)) + " " + why);
  HttpResponse res = text_response(exchange->request(), status, why);
  res.set(wire::kVersionHeader, kVersionText);
  if (status == http::status::service_unavailable) res.set(http::field::retry_after, "1");
  exchange->respond(std::move(res));
}

void handle(const std::shared_ptr<Exchange>& exchange, WorkerPool* pool) {
  const HttpRequest& req = exchange->request();
  const auto version = req[wire::kVersionHeader];
  if (version != kVersionText) {
    return refuse(exchange, http::status::bad_request,
                  "wire version '" + std::string(version.substr(0, 20)) +
                      "' is not spoken here; this server speaks " + kVersionText);
  }
  wire::Request request;
  std::string why;
  if (!wire::decode_request(req.body(), &request, &why)) {
    return refuse(exchange, http::status::bad_request, "malformed request body: " + why);
  }
  auto stream = std::make_shared<EngineStream>(exchange);
  const bool queued = pool->submit(
      std::move(request), [stream](const FrameView& f, const Next& n) { stream->on_frame(f, n); });
  if (!queued) {
    refuse(exchange, http::status::service_unavailable,
           "every worker is busy and the queue is full");
  }
}

}  // namespace

void add_engine_route(Router* router, WorkerPool* pool) {
  router->add({http::verb::post, wire::kRequestPath, kMaxJobBytes,
               [pool](const std::shared_ptr<Exchange>& exchange) { handle(exchange, pool); }});
}

}  // namespace tavn::server
