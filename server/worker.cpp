#include "server/worker.h"

#include <algorithm>
#include <csignal>
#include <new>

#include "engines/speech/backends/backend.h"
#include "engines/speech/connection.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "server/request_params.h"
#include "server/server_log.h"
#include "server/worker_link.h"

namespace tavn::server {
namespace {

using speech::Backend;
using speech::Connection;
using speech::EngineSettings;

class Responder {
 public:
  explicit Responder(int fd) : fd_(fd) {}

  bool send(const wire::Frame& frame) {
    buffer_.clear();
    wire::encode_frame(frame, &buffer_);
    return write_all(fd_, buffer_.data(), buffer_.size());
  }

  bool piece(const TTSSynthRecord& record) {
    frame_.type = wire::FrameType::kPiece;
    frame_.code = record.status;
    frame_.sentence_begin = record.sentence_begin;
    frame_.sentence_end = record.sentence_end;
    frame_.non_audio_bytes = record.non_audio_bytes;
    frame_.bytes.assign(record.audio, record.audio + record.audio_length);
    return send(frame_);
  }

  bool end() {
    wire::Frame f;
    f.type = wire::FrameType::kEnd;
    return send(f);
  }

  bool error(uint32_t code) {
    const speech::EngineCode* known = speech::find_engine_code(code);
    const std::string reason =
        known != nullptr ? known->reason : "engine result " + std::to_string(code);
    wire::Frame f;
    f.type = wire::FrameType::kError;
    f.code = code;
    f.bytes.assign(reason.begin(), reason.begin() + std::min(reason.size(), wire::kMaxReason));
    return send(f);
  }

 private:
  int fd_;
  std::string buffer_;
  wire::Frame frame_;  // its audio buffer is kept from piece to piece
};

// The engine result of the request's settings: 0 when they can speak.
uint32_t check(const wire::Request& request, const std::string& audio_root,
               EngineSettings* settings) {
  const std::string params = server_side_params(request.params, audio_root);
  if (uint32_t r = speech::parse_engine_params(params, settings)) return r;
  return Backend::ForVoice(settings->voice).CheckVoice(settings->voice);
}

// Speaks the request, one frame per piece; false when the master is gone.
bool speak(const wire::Request& request, const EngineSettings& settings, Responder* out) {
  Connection connection(settings);
  if (request.format != 0) {
    if (uint32_t r = connection.set_format(request.format)) return out->error(r);
  }
  TTSSynthRecord record{};
  record.text = request.text.c_str();
  record.text_length = static_cast<uint32_t>(request.text.size());
  uint32_t r = connection.start(&record);
  while (r == 0) {
    if (!out->piece(record)) return false;
    if (record.status == 0) return out->end();
    r = connection.next(&record);
  }
  return out->error(r);
}

bool answer(const wire::Request& request, const std::string& audio_root, uint32_t started,
            Responder* out) {
  if (started != 0) return out->error(started);
  EngineSettings settings;
  if (uint32_t r = check(request, audio_root, &settings)) return out->error(r);
  if (request.kind == wire::RequestKind::kCheck) return out->end();
  return speak(request, settings, out);
}

}  // namespace

int run_worker(int fd, const std::string& audio_root) {
  std::signal(SIGPIPE, SIG_IGN);
  const uint32_t started = Backend::InitializeAll();
  if (started != 0) log_line("worker: the speech engine did not start: " + std::to_string(started));
  Responder out(fd);
  for (;;) {
    wire::Request request;
    std::string why;
    const int r = read_job(fd, &request, &why);
    if (r == 0) return 0;
    if (r < 0) {
      log_line("worker: bad job from the master: " + why);
      return 1;
    }
    try {
      if (!answer(request, audio_root, started, &out)) return 1;
    } catch (const std::bad_alloc&) {
      if (!out.error(speech::ENGINE_ERR_NO_MEMORY)) return 1;
    }
  }
}

}  // namespace tavn::server
