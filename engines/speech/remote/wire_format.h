// The engine's wire format, version 1: how a request travels to tavnd and
// its pieces travel back.  Shared by the engine's client (remote/) and the
// server (server/), so that both sides read and write the same bytes.
//
// Transport: HTTP/1.1.  All integers are little-endian, unsigned.
//
// Request: POST kRequestPath, header "Tavn-Wire: 1", body
//   "TVNQ" | version u16 (=1) | kind u16 | format u32 | params_length u32 |
//   text_length u32 | params bytes | text bytes
// kind kCheck asks the server to check the parameters (TTSConnect) and
// carries no text; kSpeak speaks the text.  params is the engine parameter
// string as TTSConnect got it (at most 127 bytes); format is the audio
// format row 1..30; text is at most kMaxWireText bytes.
//
// Response to a request the server accepted: status 200, Content-Type
// kContentType, body streamed as the pieces are rendered:
//   "TVNP" | version u16 (=1) | reserved u16 (=0)
//   then frames, each: type u32 | code u32 | sentence_begin u32 |
//   sentence_end u32 | non_audio_bytes u32 | length u32 | `length` bytes
// type kPiece: one TTSSynthText/TTSFetchNext piece; code is the record's
//   status (1 = more follow, 0 = last), `length` bytes are its audio.
// type kEnd: the request succeeded (kCheck: the parameters are good); no
//   bytes follow it.
// type kError: the request failed; code is the engine result, the bytes
//   are a reason in UTF-8 (at most 512).
// A body that ends without kEnd or kError, or after a piece with status 1
// and no further frame, failed (ENGINE_ERR_SERVER_FAILED on the client).
//
// Refusals before a body starts are plain HTTP: 400 for a malformed request
// or an unknown wire version (header "Tavn-Wire" names the version the
// server speaks), 401 without the right token, 413 for an oversized body,
// 503 with Retry-After when the queue is full.
//
// Pure functions of their arguments: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_REMOTE_WIRE_FORMAT_H_
#define TAVN_ENGINES_SPEECH_REMOTE_WIRE_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavn::speech::wire {

constexpr uint16_t kVersion = 1;
constexpr char kRequestPath[] = "/v1/engine";
constexpr char kVersionHeader[] = "Tavn-Wire";
constexpr char kContentType[] = "application/x-tavn-pieces";
constexpr size_t kMaxWireText = 65536;
constexpr size_t kMaxWireParams = 127;
constexpr size_t kMaxReason = 512;
constexpr size_t kRequestFixedBytes = 20;  // magic .. text_length
constexpr size_t kStreamHeaderBytes = 8;   // "TVNP", version, reserved
constexpr size_t kFrameHeaderBytes = 24;

enum class RequestKind : uint16_t { kCheck = 1, kSpeak = 2 };
enum class FrameType : uint32_t { kPiece = 1, kEnd = 2, kError = 3 };

struct Request {
  RequestKind kind = RequestKind::kSpeak;
  uint32_t format = 0;
  std::string params;
  std::string text;
};

struct Frame {
  FrameType type = FrameType::kPiece;
  uint32_t code = 0;
  uint32_t sentence_begin = 0;
  uint32_t sentence_end = 0;
  uint32_t non_audio_bytes = 0;
  std::vector<uint8_t> bytes;  // audio (kPiece) or reason (kError)
};

// Appends the request body for `request` to `*out`.  False when params or
// text exceed their limits (nothing appended).
bool encode_request(const Request& request, std::string* out);

// Reads a whole request body.  Returns true and fills `*out`; false with a
// one-line reason in `*why` for a bad magic, another version (the reason
// names both versions), a bad kind, a kCheck carrying text, lengths that
// disagree with the body or exceed their limits.  The format is not judged
// here: the engine that speaks the request refuses a bad one with its own
// code.
bool decode_request(std::string_view body, Request* out, std::string* why);

// Appends the stream header, or one frame, to `*out`.
void encode_stream_header(std::string* out);
void encode_frame(const Frame& frame, std::string* out);

// Reads a response body incrementally: feed it bytes as they arrive and
// take frames as they complete.  Bounded: a frame longer than
// kMaxFrameBytes is an error.  Not thread-safe; one per response.
class FrameReader {
 public:
  static constexpr size_t kMaxFrameBytes = 16u << 20;

  // Appends `data` to what is buffered (nothing after a -1).
  void feed(const char* data, size_t length);

  // 1: a whole frame was taken into `*out`; 0: more bytes are needed;
  // -1: the stream is malformed (bad magic, other version, unknown frame
  // type, a piece over kMaxFrameBytes, a reason over kMaxReason, a kEnd
  // with bytes), with `*why` set.  After -1 every call is -1 with the same
  // reason, and the buffer is released.  A frame's length is judged from
  // its header, before its bytes are buffered, and a stream that does not
  // begin with the piece stream's magic fails on its first bytes.
  // Sequence (status 0 last, kEnd after it) is the caller's to check.
  int next(Frame* out, std::string* why);

 private:
  std::string buffer_;
  size_t read_ = 0;  // bytes of buffer_ already consumed
  bool header_seen_ = false;
  bool broken_ = false;
  std::string why_;  // the reason of the first -1
};

}  // namespace tavn::speech::wire

#endif  // TAVN_ENGINES_SPEECH_REMOTE_WIRE_FORMAT_H_
