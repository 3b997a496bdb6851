#include "engines/speech/remote/wire_format.h"

#include <cstring>

namespace tavn::speech::wire {
namespace {

constexpr char kRequestMagic[4] = {'T', 'V', 'N', 'Q'};
constexpr char kStreamMagic[4] = {'T', 'V', 'N', 'P'};

void put16(uint16_t v, std::string* out) {
  out->push_back(static_cast<char>(v & 0xff));
  out->push_back(static_cast<char>(v >> 8));
}

void put32(uint32_t v, std::string* out) {
  for (int shift = 0; shift < 32; shift += 8)
    out->push_back(static_cast<char>((v >> shift) & 0xff));
}

uint16_t get16(const char* p) {
  const auto* b = reinterpret_cast<const unsigned char*>(p);
  return static_cast<uint16_t>(b[0] | (b[1] << 8));
}

uint32_t get32(const char* p) {
  const auto* b = reinterpret_cast<const unsigned char*>(p);
  return static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) |
         (static_cast<uint32_t>(b[2]) << 16) | (static_cast<uint32_t>(b[3]) << 24);
}

std::string other_version(uint16_t theirs, const char* who) {
  return "wire version " + std::to_string(theirs) + ", this " + who + " speaks version " +
         std::to_string(kVersion);
}

}  // namespace

bool encode_request(const Request& request, std::string* out) {
  if (request.params.size() > kMaxWireParams || request.text.size() > kMaxWireText) return false;
  out->reserve(out->size() + kRequestFixedBytes + request.params.size() + request.text.size());
  out->append(kRequestMagic, sizeof kRequestMagic);
  put16(kVersion, out);
  put16(static_cast<uint16_t>(request.kind), out);
  put32(request.format, out);
  put32(static_cast<uint32_t>(request.params.size()), out);
  put32(static_cast<uint32_t>(request.text.size()), out);
  out->append(request.params);
  out->append(request.text);
  return true;
}

bool decode_request(std::string_view body, Request* out, std::string* why) {
  if (body.size() < kRequestFixedBytes || std::memcmp(body.data(), kRequestMagic, 4) != 0) {
    *why = "not a speech request (no TVNQ header)";
    return false;
  }
  const char* p = body.data();
  const uint16_t version = get16(p + 4);
  if (version != kVersion) {
    *why = other_version(version, "server");
    return false;
  }
  const uint16_t kind = get16(p + 6);
  if (kind != static_cast<uint16_t>(RequestKind::kCheck) &&
      kind != static_cast<uint16_t>(RequestKind::kSpeak)) {
    *why = "unknown request kind " + std::to_string(kind);
    return false;
  }
  const uint32_t params_length = get32(p + 12);
  const uint32_t text_length = get32(p + 16);
  if (params_length > kMaxWireParams) {
    *why = "parameter string longer than " + std::to_string(kMaxWireParams) + " bytes";
    return false;
  }
  if (text_length > kMaxWireText) {
    *why = "text longer than " + std::to_string(kMaxWireText) + " bytes";
    return false;
  }
  if (kind == static_cast<uint16_t>(RequestKind::kCheck) && text_length != 0) {
    *why = "a check request carries no text";
    return false;
  }
  // Both lengths are bounded above, so the sum cannot wrap.
  if (body.size() != kRequestFixedBytes + params_length + text_length) {
    *why = "request lengths disagree with the body's size";
    return false;
  }
  out->kind = static_cast<RequestKind>(kind);
  out->format = get32(p + 8);
  out->params.assign(p + kRequestFixedBytes, params_length);
  out->text.assign(p + kRequestFixedBytes + params_length, text_length);
  return true;
}

void encode_stream_header(std::string* out) {
  out->append(kStreamMagic, sizeof kStreamMagic);
  put16(kVersion, out);
  put16(0, out);
}

void encode_frame(const Frame& frame, std::string* out) {
  out->reserve(out->size() + kFrameHeaderBytes + frame.bytes.size());
  put32(static_cast<uint32_t>(frame.type), out);
  put32(frame.code, out);
  put32(frame.sentence_begin, out);
  put32(frame.sentence_end, out);
  put32(frame.non_audio_bytes, out);
  put32(static_cast<uint32_t>(frame.bytes.size()), out);
  out->append(reinterpret_cast<const char*>(frame.bytes.data()), frame.bytes.size());
}

void FrameReader::feed(const char* data, size_t length) {
  if (broken_ || length == 0) return;
  // Drop what was consumed before growing, so the buffer holds at most one
  // frame plus what arrived behind it.
  if (read_ > 0 && (read_ == buffer_.size() || read_ >= buffer_.size() / 2)) {
    buffer_.erase(0, read_);
    read_ = 0;
  }
  buffer_.append(data, length);
}

int FrameReader::next(Frame* out, std::string* why) {
  if (broken_) {
    *why = why_;
    return -1;
  }
  const auto fail = [&](std::string reason) {
    broken_ = true;
    why_ = std::move(reason);
    *why = why_;
    buffer_.clear();
    read_ = 0;
    return -1;
  };
  const char* p = buffer_.data() + read_;
  size_t available = buffer_.size() - read_;
  if (!header_seen_) {
    // Judge the magic as soon as its bytes arrive: an HTML error page or
    // another protocol fails at once instead of waiting for more.
    const size_t magic = available < 4 ? available : 4;
    if (std::memcmp(p, kStreamMagic, magic) != 0)
      return fail("not a piece stream (no TVNP header)");
    if (available < kStreamHeaderBytes) return 0;
    const uint16_t version = get16(p + 4);
    if (version != kVersion) return fail(other_version(version, "client"));
    header_seen_ = true;
    read_ += kStreamHeaderBytes;
    p += kStreamHeaderBytes;
    available -= kStreamHeaderBytes;
  }
  if (available < kFrameHeaderBytes) return 0;
  const uint32_t type = get32(p);
  const uint32_t length = get32(p + 20);
  switch (static_cast<FrameType>(type)) {
    case FrameType::kPiece:
      if (length > kMaxFrameBytes) return fail("piece of " + std::to_string(length) + " bytes");
      break;
    case FrameType::kEnd:
      if (length != 0) return fail("end frame with " + std::to_string(length) + " bytes");
      break;
    case FrameType::kError:
      if (length > kMaxReason) return fail("error reason of " + std::to_string(length) + " bytes");
      break;
    default: return fail("unknown frame type " + std::to_string(type));
  }
  if (available - kFrameHeaderBytes < length) return 0;
  out->type = static_cast<FrameType>(type);
  out->code = get32(p + 4);
  out->sentence_begin = get32(p + 8);
  out->sentence_end = get32(p + 12);
  out->non_audio_bytes = get32(p + 16);
  const auto* bytes = reinterpret_cast<const uint8_t*>(p + kFrameHeaderBytes);
  out->bytes.assign(bytes, bytes + length);
  read_ += kFrameHeaderBytes + length;
  return 1;
}

}  // namespace tavn::speech::wire
