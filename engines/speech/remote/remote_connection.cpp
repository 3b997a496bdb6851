#include "engines/speech/remote/remote_connection.h"

#include <boost/asio/io_context.hpp>

#include "engines/speech/audio/output_format.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/remote/bearer_token.h"
#include "engines/speech/remote/server_address.h"

namespace tavn::speech {
namespace {

// Results after which the next server may do better.
bool try_next_server(uint32_t r) {
  return r == ENGINE_ERR_SERVER_UNREACHABLE || r == ENGINE_ERR_SERVER_FAILED ||
         r == ENGINE_ERR_SERVER_BUSY;
}

}  // namespace

RemoteConnection::RemoteConnection(std::string params, uint32_t format)
    : params_(std::move(params)),
      format_(format),
      io_(std::make_unique<boost::asio::io_context>(1)) {}

// The links close their sockets before the I/O context goes.
RemoteConnection::~RemoteConnection() { servers_.clear(); }

uint32_t RemoteConnection::Open(std::string_view conn_str1, std::string_view conn_str2,
                                std::string_view params, const EngineSettings& settings,
                                std::shared_ptr<EngineConnection>* out) {
  std::vector<ServerAddress> addresses;
  for (std::string_view text : {conn_str1, conn_str2}) {
    if (text.empty()) continue;
    ServerAddress address;
    if (!parse_server_address(text, &address)) return ENGINE_ERR_BAD_VALUE;
    addresses.push_back(std::move(address));
  }
  LinkSettings link{settings.connect_timeout_ms, settings.timeout_ms, {}};
  if (uint32_t r = read_bearer_token(settings.token_file, &link.token)) return r;
  std::shared_ptr<RemoteConnection> c(new RemoteConnection(std::string(params), settings.format));
  for (ServerAddress& address : addresses)
    c->servers_.push_back(std::make_unique<ServerLink>(*c->io_, std::move(address), link));

  std::string body;
  if (!wire::encode_request({wire::RequestKind::kCheck, c->format_, c->params_, {}}, &body))
    return ENGINE_ERR_BAD_VALUE;
  bool end = false;
  if (uint32_t r = c->exchange(body, &end)) return r;
  if (!end) {  // a check answers with kEnd alone
    c->link_->close();
    return ENGINE_ERR_SERVER_FAILED;
  }
  *out = std::move(c);
  return 0;
}

uint32_t RemoteConnection::set_format(uint32_t format) {
  if (running_) return ENGINE_ERR_BUSY;
  OutputFormat fmt;
  if (!lookup_format(format, &fmt)) return ENGINE_ERR_FORMAT_REFUSED;
  format_ = fmt.format;
  return 0;
}

uint32_t RemoteConnection::read(bool* end) {
  *end = false;
  wire::Frame frame;
  if (uint32_t r = link_->next_frame(&frame)) return r;
  switch (frame.type) {
    case wire::FrameType::kPiece: piece_ = std::move(frame); return 0;
    case wire::FrameType::kEnd:
      link_->finish();
      *end = true;
      return 0;
    case wire::FrameType::kError:
      link_->finish();
      // The server's engine result, when it is one of ours.
      return frame.code != 0 && find_engine_code(frame.code) != nullptr ? frame.code
                                                                        : ENGINE_ERR_SERVER_FAILED;
  }
  link_->close();
  return ENGINE_ERR_SERVER_FAILED;
}

uint32_t RemoteConnection::exchange(const std::string& body, bool* end) {
  uint32_t result = 0;
  for (const std::unique_ptr<ServerLink>& server : servers_) {
    link_ = server.get();
    uint32_t r = link_->send(body);
    if (r == 0) r = read(end);
    if (r == 0) return 0;
    if (!try_next_server(r)) return r;
    link_->close();
    if (result == 0 || result == ENGINE_ERR_SERVER_UNREACHABLE) result = r;
  }
  link_ = nullptr;
  return result;
}

uint32_t RemoteConnection::deliver(TTSSynthRecord* record) {
  const wire::Frame& p = piece_;
  const bool valid = p.code <= 1 && p.non_audio_bytes <= p.bytes.size() &&
                     p.non_audio_bytes <= 0xffff && p.sentence_begin <= p.sentence_end &&
                     p.sentence_end <= text_length_;
  bool end = false;
  uint32_t r = valid ? 0 : ENGINE_ERR_SERVER_FAILED;
  // The last piece is handed out once the server has ended the request.
  if (r == 0 && p.code == 0) {
    r = read(&end);
    if (r == 0 && !end) r = ENGINE_ERR_SERVER_FAILED;
  }
  if (r != 0) {
    link_->close();
    return r;
  }
  running_ = p.code == 1;
  record->status = p.code;
  record->audio_length = static_cast<uint32_t>(p.bytes.size());
  record->audio = p.bytes.empty() ? nullptr : p.bytes.data();
  record->non_audio_bytes = static_cast<uint16_t>(p.non_audio_bytes);
  record->sentence_begin = p.sentence_begin;
  record->sentence_end = p.sentence_end;
  return 0;
}

uint32_t RemoteConnection::start(TTSSynthRecord* record) {
  if (running_) link_->close();  // abandons the request in progress
  running_ = false;
  if (record->text == nullptr && record->text_length != 0) return ENGINE_ERR_NULL_ARGUMENT;
  if (record->text_length > wire::kMaxWireText) return ENGINE_ERR_SERVER_REFUSED;
  wire::Request request{wire::RequestKind::kSpeak, format_, params_, {}};
  request.text.assign(record->text == nullptr ? "" : record->text, record->text_length);
  std::string body;
  if (!wire::encode_request(request, &body)) return ENGINE_ERR_SERVER_REFUSED;
  text_length_ = record->text_length;
  bool end = false;
  if (uint32_t r = exchange(body, &end)) return r;
  if (end) return ENGINE_ERR_SERVER_FAILED;  // a request without its first piece
  return deliver(record);
}

uint32_t RemoteConnection::next(TTSSynthRecord* record) {
  if (!running_) return ENGINE_ERR_NO_REQUEST;
  running_ = false;  // until this piece arrives whole
  bool end = false;
  if (uint32_t r = read(&end)) return r;
  if (end) return ENGINE_ERR_SERVER_FAILED;  // ended before its last piece
  return deliver(record);
}

}  // namespace tavn::speech
