#include "server/speak_job.h"

#include <boost/asio/post.hpp>
#include <boost/beast/core/detail/base64.hpp>
#include <chrono>
#include <nlohmann/json.hpp>

#include "engines/speech/engine_codes.h"
#include "engines/speech/markup/markup_fragment.h"
#include "engines/speech/remote/wire_format.h"
#include "engines/speech/voice_choice.h"
#include "server/api/audio_stream.h"
#include "server/api/speech_marks.h"
#include "server/cache/cache_key.h"
#include "server/server_log.h"

namespace tavn::server {
namespace {

namespace wire = tavn::speech::wire;

constexpr uint64_t kWholeBytes = 4 << 20;    // stored bodies up to this go in one answer
constexpr size_t kStoredChunk = 256 * 1024;  // larger ones in chunks of this

// The JSON error for an engine result that ended a request before its
// answer began.
ApiError engine_error(uint32_t code, const std::string& reason) {
  switch (code) {
    case speech::ENGINE_ERR_BAD_MARKUP:
      return ApiError{400, "the markup is not well-formed: " + reason, "text"};
    case speech::ENGINE_ERR_UNKNOWN_VOICE: return ApiError{400, reason, "voice"};
    case speech::ENGINE_ERR_FORMAT_REFUSED: return ApiError{400, reason, "format"};
    case speech::ENGINE_ERR_BAD_VALUE: return ApiError{400, reason, ""};
    default: return ApiError{500, "the engine failed: " + reason, ""};
  }
}

// A whole response with the status and fields of `header`.
HttpResponse whole_response(const StreamHeader& header) {
  HttpResponse res{header.result(), header.version()};
  for (const auto& field : header) res.set(field.name_string(), field.value());
  return res;
}

// Streams the rest of a stored body, `at` bytes already sent.
void send_chunks(const std::shared_ptr<Exchange>& exchange,
                 const std::shared_ptr<PromptCache::Entry>& entry,
                 const std::shared_ptr<std::string>& buffer, uint64_t at) {
  if (!entry->read(at, kStoredChunk, buffer.get())) return exchange->abort();
  if (buffer->empty()) return exchange->end_stream();
  const uint64_t next = at + buffer->size();
  exchange->write_chunk(*buffer, [exchange, entry, buffer, next](bool ok) {
    if (ok) send_chunks(exchange, entry, buffer, next);
  });
}

class SpeakJob : public std::enable_shared_from_this<SpeakJob> {
 public:
  SpeakJob(SpeechService* service, SpeechRoute route, std::shared_ptr<Exchange> exchange,
           SpeechRequest request, CacheKey key)
      : service_(service),
        route_(route),
        exchange_(std::move(exchange)),
        request_(std::move(request)),
        key_(std::move(key)),
        stream_(request_.output),
        marks_(request_.output.row, request_.text) {}

  // Serves the request from the cache, waits for the same rendering, or renders.
  void run() {
    PromptCache* cache = service_->cache();
    if (cache == nullptr || bypass_cache_) return render(nullptr);
    PromptCache::Lookup found = cache->find(key_);
    switch (found.kind) {
      case PromptCache::Lookup::kHit: return serve(std::move(found.entry));
      case PromptCache::Lookup::kRender: return render(std::move(found.writer));
      case PromptCache::Lookup::kWait: {
        auto self = shared_from_this();
        auto flight = found.flight;
        flight->on_done([self, flight] {
          boost::asio::post(self->service_->io(), [self, flight] {
            self->bypass_cache_ = !flight->stored();  // nothing stored: render for itself
            self->run();
          });
        });
      }
    }
  }

 private:
  StreamHeader header(const char* cache_state) const {
    StreamHeader h{http::status::ok, exchange_->request().version()};
    h.set(http::field::content_type,
          request_.marks ? "application/json" : media_type(request_.output));
    h.set(http::field::etag, key_.etag());
    h.set("Tavn-Cache", cache_state);
    if (route_ == SpeechRoute::kAudioSpeech) h.set("Tavn-Model", request_.model);
    return h;
  }

  void respond_json(std::string body, const char* cache_state) {
    HttpResponse res = whole_response(header(cache_state));
    res.body() = std::move(body);
    exchange_->respond(std::move(res));
  }

  void serve(std::unique_ptr<PromptCache::Entry> entry) {
    if (request_.marks) return respond_json(entry->meta(), "hit");
    send_stored(exchange_, std::move(entry), header("hit"));
  }

  void render(std::unique_ptr<PromptCache::Writer> writer) {
    writer_ = std::move(writer);
    cache_state_ = service_->cache() == nullptr ? "off" : "miss";
    started_at_ = std::chrono::steady_clock::now();
    wire::encode_stream_header(&scratch_);
    reader_.feed(scratch_.data(), scratch_.size());
    wire::Request job;
    job.kind = wire::RequestKind::kSpeak;
    job.format = request_.output.row;
    job.params = engine_params(request_);
    job.text = request_.text;
    auto self = shared_from_this();
    if (!service_->pool().submit(std::move(job), [self](const FrameView& f, const Next& next) {
          self->on_frame(f, next);
        })) {
      writer_.reset();
      respond_error(exchange_, ApiError{503, "every worker is busy and the queue is full", ""});
    }
  }

  void on_frame(const FrameView& view, const Next& next) {
    wire::Frame frame;
    std::string why;
    reader_.feed(view.raw.data(), view.raw.size());
    if (reader_.next(&frame, &why) != 1) return fail(speech::ENGINE_ERR_SERVER_FAILED, why);
    if (frame.type == wire::FrameType::kError) {
      return fail(frame.code, std::string(frame.bytes.begin(), frame.bytes.end()));
    }
    if (frame.type == wire::FrameType::kEnd) return finish();
    out_.clear();
    const size_t audio =
        stream_.add_piece(frame.bytes.data(), frame.bytes.size(), frame.non_audio_bytes, &out_);
    marks_.add_sentence(frame.sentence_begin, frame.sentence_end, audio);
    if (writer_ != nullptr) writer_->append(out_.data(), out_.size());  // false: not stored
    if (request_.marks) {
      held_ += out_;  // for the answer itself, should nothing be stored
      return next(true);
    }
    if (!started_ && audio == 0) {  // the header alone: wait for the first sentence
      held_ += out_;
      return next(true);
    }
    if (!held_.empty()) {  // the header held back joins the first sentence
      held_ += out_;
      out_.swap(held_);
      held_.clear();
    }
    send(next);
  }

  // Sends out_ (beginning the answer first if need be), then calls `next`.
  void send(const Next& next) {
    auto self = shared_from_this();
    auto write = [self, next](bool ok) {
      if (!ok) return next(false);  // the client went away: the worker is freed
      if (self->out_.empty()) return next(true);
      self->exchange_->write_chunk(self->out_, next);
    };
    if (started_) return write(true);
    started_ = true;
    exchange_->begin_stream(header(cache_state_), write);
  }

  void finish() {
    service_->metrics().synthesis_seconds.observe(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started_at_).count());
    const std::string type = media_type(request_.output);
    const std::string meta = marks_answer(marks_.json(), stored_audio_url(key_.hex()), type);
    if (request_.marks) {
      if (store(meta)) return respond_json(meta, cache_state_);
      const std::string wave = stream_.final_header();  // the whole file is here: its real sizes
      held_.replace(0, wave.size(), wave);
      std::string data(boost::beast::detail::base64::encoded_size(held_.size()), '\0');
      data.resize(boost::beast::detail::base64::encode(data.data(), held_.data(), held_.size()));
      return respond_json(marks_answer(marks_.json(), "data:" + type + ";base64," + data, type),
                          cache_state_);
    }
    // The answer may not have begun (a text without a sentence): send what is held.
    // The entry is stored once the answer's end is on its way, so that
    // writing and checking it cost the client no time; this thread stores it
    // before it reads another request, so a repeat still finds it.
    auto self = shared_from_this();
    out_.swap(held_);
    send([self, meta](bool ok) {
      if (ok) self->exchange_->end_stream();
      self->store(meta);
    });
  }

  // Stores the rendered answer (its WAVE sizes made real) with `meta`:
  // whether it was stored.
  bool store(const std::string& meta) {
    if (writer_ == nullptr) return false;
    const std::string wave = stream_.final_header();
    if (!wave.empty()) writer_->overwrite(0, wave.data(), wave.size());
    const bool stored = writer_->commit(meta);
    writer_.reset();
    return stored;
  }

  void fail(uint32_t code, const std::string& reason) {
    writer_.reset();  // nothing stored; whoever waits renders for itself
    log_line("request from " + exchange_->peer() + " failed: " + reason);
    if (started_) return exchange_->abort();
    std::string detail = reason;
    if (code == speech::ENGINE_ERR_BAD_MARKUP) {
      const std::string place =
          speech::markup::markup_error_place(request_.text, speech::voice_language(request_.voice));
      if (!place.empty()) detail = place;
    }
    respond_error(exchange_, engine_error(code, detail));
  }

  SpeechService* service_;
  SpeechRoute route_;
  std::shared_ptr<Exchange> exchange_;
  SpeechRequest request_;
  CacheKey key_;
  AudioStream stream_;
  SpeechMarks marks_;
  std::unique_ptr<PromptCache::Writer> writer_;
  bool bypass_cache_ = false;
  const char* cache_state_ = "off";
  std::chrono::steady_clock::time_point started_at_;
  wire::FrameReader reader_;
  std::string scratch_;
  bool started_ = false;  // the answer's header has left
  std::string held_;      // bytes not sent yet
  std::string out_;       // the chunk being written
};

}  // namespace

std::string stored_audio_url(const std::string& hex) { return "/v1/audio?key=" + hex; }

void send_stored(const std::shared_ptr<Exchange>& exchange,
                 std::shared_ptr<PromptCache::Entry> entry, StreamHeader header) {
  if (entry->size() <= kWholeBytes) {
    HttpResponse res = whole_response(header);
    if (!entry->take_body(&res.body())) {
      return respond_error(exchange, ApiError{500, "the stored answer could not be read", ""});
    }
    return exchange->respond(std::move(res));
  }
  auto buffer = std::make_shared<std::string>();
  exchange->begin_stream(std::move(header), [exchange, entry, buffer](bool ok) {
    if (ok) send_chunks(exchange, entry, buffer, 0);
  });
}

void handle_speak(SpeechService* service, SpeechRoute route,
                  const std::shared_ptr<Exchange>& exchange) {
  const HttpRequest& req = exchange->request();
  if (!service->voices_known()) {
    return respond_error(exchange,
                         ApiError{503, "the server could not list its voices (see its log)", ""});
  }
  SpeechRequest request;
  ApiError error;
  if (!read_speech_request(route, req[http::field::content_type], req.body(), service->voices(),
                           &request, &error)) {
    return respond_error(exchange, error);
  }
  if (req.find(http::field::range) != req.end()) {
    return respond_error(exchange,
                         ApiError{416,
                                  "Range is not served on speaking answers, which are streamed; "
                                  "fetch the whole answer (GET /v1/audio?key=... for a stored one)",
                                  ""});
  }
  const CacheKey key = speech_cache_key(request, service->engine_version());
  const auto tags = req[http::field::if_none_match];
  if (!tags.empty() && if_none_match(tags, key.etag())) {
    HttpResponse res{http::status::not_modified, req.version()};
    res.set(http::field::etag, key.etag());
    return exchange->respond(std::move(res));
  }
  std::make_shared<SpeakJob>(service, route, exchange, std::move(request), key)->run();
}

}  // namespace tavn::server
