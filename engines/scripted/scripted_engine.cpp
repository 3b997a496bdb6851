// The scripted test engine: a libkavritts.so whose behaviour the tests set
// through scripted_engine.h.
#include "engines/scripted/scripted_engine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

namespace scripted {
namespace {

struct Failure {
  bool armed = false;
  uint32_t result = 0;
  uint32_t nth = 1;
};

struct Stream {
  bool on = false;
  uint64_t total = 0;
  uint32_t piece_bytes = 0;
  int header_length = 0;
};

// Per-connection replay state.
struct Connection {
  size_t next = 0;  // index of the next scripted piece
  uint32_t fetches = 0;
  uint64_t streamed = 0;     // audio bytes handed out in stream mode
  std::vector<uint8_t> buf;  // the current piece's bytes
};

std::vector<Piece> default_script();

struct State {
  std::mutex mu;
  std::vector<Piece> script = default_script();
  Stream stream;
  Failure failures[6];
  bool has_format = false;
  uint32_t format = 0;
  Record rec;
  uint32_t next_handle = 1;
  std::map<uint32_t, std::unique_ptr<Connection>> conns;
};

State& state() {
  static State* s = new State;  // never destroyed: TTSUninitialize may run at exit
  return *s;
}

Failure& failure(Op op) { return state().failures[static_cast<int>(op)]; }

void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

void put_tag(std::vector<uint8_t>& b, size_t at, const char* tag) {
  std::memcpy(b.data() + at, tag, 4);
}

// Fills the record's output fields from piece `p`, copying its bytes into the
// connection's buffer.
void hand_out(Connection& c, const Piece& p, TTSSynthRecord* r) {
  c.buf = p.bytes;
  r->status = p.status;
  r->audio_length = static_cast<uint32_t>(c.buf.size());
  r->audio = c.buf.empty() ? nullptr : c.buf.data();
  r->non_audio_bytes = p.non_audio_bytes;
  r->sentence_begin = p.sentence_begin;
  r->sentence_end = p.sentence_end;
}

// The next generated piece of stream mode; the first is a header alone.
Piece stream_piece(const Stream& s, Connection& c, bool first) {
  Piece p;
  if (first) {
    p = make_piece(1, s.header_length, 0);
    p.non_audio_bytes = static_cast<uint16_t>(s.header_length);
    if (s.total == 0) p.status = 0;
    return p;
  }
  uint64_t left = s.total - c.streamed;
  uint32_t n = left < s.piece_bytes ? static_cast<uint32_t>(left) : s.piece_bytes;
  c.streamed += n;
  p = make_piece(c.streamed < s.total ? 1 : 0, s.header_length, n,
                 static_cast<uint8_t>(c.streamed));
  return p;
}

Connection* find(uint32_t handle) {
  auto it = state().conns.find(handle);
  return it == state().conns.end() ? nullptr : it->second.get();
}

}  // namespace

namespace {
// What an unprogrammed engine says: a header, then 1600 bytes of sound
// (0.1 s of 16 kHz 8-bit audio) in one more piece.
std::vector<Piece> default_script() {
  return {make_piece(1, 44, 0, 0, 0, 0, 44), make_piece(0, 44, 1600, 0x22, 0, 0, 44)};
}
}  // namespace

std::vector<uint8_t> wave_header(int length, uint16_t format_tag, uint32_t rate, uint16_t bits) {
  std::vector<uint8_t> h(static_cast<size_t>(length), 0);
  if (length != 44 && length != 58) return h;
  put_tag(h, 0, "RIFF");
  put_tag(h, 8, "WAVE");
  put_tag(h, 12, "fmt ");
  uint32_t fmt_size = length == 44 ? 16 : 18;
  put32(h, 16, fmt_size);
  h[20] = static_cast<uint8_t>(format_tag);
  h[22] = 1;  // channels
  put32(h, 24, rate);
  put32(h, 28, rate * bits / 8);
  h[32] = static_cast<uint8_t>(bits / 8 ? bits / 8 : 1);
  h[34] = static_cast<uint8_t>(bits);
  if (length == 44) {
    put_tag(h, 36, "data");
  } else {
    put_tag(h, 38, "fact");
    put32(h, 42, 4);
    put_tag(h, 50, "data");
  }
  return h;
}

Piece make_piece(uint32_t status, int header_length, uint32_t audio_bytes, uint8_t fill,
                 uint32_t begin, uint32_t end, uint16_t non_audio) {
  Piece p;
  p.status = status;
  p.bytes = header_length > 0 ? wave_header(header_length) : std::vector<uint8_t>();
  p.bytes.insert(p.bytes.end(), audio_bytes, fill);
  p.sentence_begin = begin;
  p.sentence_end = end;
  p.non_audio_bytes = non_audio;
  return p;
}

void reset() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  s.script = default_script();
  s.stream = Stream();
  for (Failure& f : s.failures) f = Failure();
  s.has_format = false;
  s.format = 0;
  int open = s.rec.open_handles;
  s.rec = Record();
  s.rec.open_handles = open;
}

void set_script(std::vector<Piece> pieces) {
  std::lock_guard<std::mutex> lock(state().mu);
  state().script = std::move(pieces);
  state().stream.on = false;
}

void fail(Op op, uint32_t result, uint32_t nth) {
  std::lock_guard<std::mutex> lock(state().mu);
  failure(op) = Failure{true, result, nth};
}

void set_format(bool has_value, uint32_t value) {
  std::lock_guard<std::mutex> lock(state().mu);
  state().has_format = has_value;
  state().format = value;
}

void set_stream(uint64_t total_audio_bytes, uint32_t piece_bytes, int header_length) {
  std::lock_guard<std::mutex> lock(state().mu);
  state().stream = Stream{true, total_audio_bytes, piece_bytes ? piece_bytes : 1, header_length};
}

Record record() {
  std::lock_guard<std::mutex> lock(state().mu);
  return state().rec;
}

}  // namespace scripted

using namespace scripted;

extern "C" {

uint32_t TTSInitialize(void) {
  std::lock_guard<std::mutex> lock(state().mu);
  ++state().rec.initialize;
  // A separate test process can make start-up fail before any control call.
  if (const char* env = std::getenv("SCRIPTED_ENGINE_INIT_RESULT"))
    return static_cast<uint32_t>(std::strtoul(env, nullptr, 0));
  const Failure& f = failure(Op::Initialize);
  return f.armed ? f.result : 0;
}

uint32_t TTSUninitialize(void) {
  std::lock_guard<std::mutex> lock(state().mu);
  ++state().rec.uninitialize;
  // Lets a parent process see that the exit hook reached the engine.
  if (const char* path = std::getenv("SCRIPTED_ENGINE_UNINIT_MARK")) {
    if (FILE* f = std::fopen(path, "a")) {
      std::fputs("uninitialize\n", f);
      std::fclose(f);
    }
  }
  return 0;
}

uint32_t TTSConnect(TTSConnectRecord* record) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  ++s.rec.connect;
  const auto* bytes = reinterpret_cast<const uint8_t*>(record);
  s.rec.connect_bytes.assign(bytes, bytes + sizeof(*record));
  const Failure& f = failure(Op::Connect);
  if (f.armed) {
    record->error_code = f.result;
    return 0;
  }
  uint32_t h = s.next_handle++;
  if (s.next_handle == 0) s.next_handle = 1;
  s.conns[h] = std::make_unique<Connection>();
  ++s.rec.open_handles;
  return h;
}

// The first calls are kept for the tests; a long run of requests must not
// grow the engine's memory.
constexpr size_t kKeptCalls = 64;

uint32_t TTSSetSynthParam(uint32_t handle, uint32_t id, uint32_t value) {
  std::lock_guard<std::mutex> lock(state().mu);
  (void)handle;
  ++state().rec.set_param;
  if (state().rec.set_params.size() < kKeptCalls) state().rec.set_params.push_back({id, value});
  const Failure& f = failure(Op::SetParam);
  if (f.armed) return f.result;
  if (id == TTS_PARAM_AUDIO_FORMAT) {
    state().has_format = true;
    state().format = value;
  }
  return 0;
}

uint32_t TTSGetParam(uint32_t handle, uint32_t id, void* value, uint32_t* size) {
  std::lock_guard<std::mutex> lock(state().mu);
  (void)handle;
  ++state().rec.get_param;
  if (state().rec.get_params.size() < kKeptCalls)
    state().rec.get_params.push_back({id, size ? *size : 0xffffffffu});
  if (id == TTS_PARAM_AUDIO_FORMAT && state().has_format && value)
    std::memcpy(value, &state().format, sizeof(uint32_t));
  return 0;
}

uint32_t TTSSynthText(uint32_t handle, TTSSynthRecord* record) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  ++s.rec.synth_text;
  s.rec.text_length = record->text_length;
  s.rec.text.assign(record->text ? record->text : "", record->text ? record->text_length : 0);
  s.rec.text_terminator =
      record->text ? static_cast<unsigned char>(record->text[record->text_length]) : -1;
  const Failure& f = failure(Op::SynthText);
  if (f.armed) return f.result;
  Connection* c = find(handle);
  if (!c) return 0x80000001u;
  if (s.stream.on) {
    hand_out(*c, stream_piece(s.stream, *c, true), record);
  } else if (s.script.empty()) {
    hand_out(*c, Piece{0, {}, 0, 0, 0}, record);
  } else {
    hand_out(*c, s.script[0], record);
    c->next = 1;
  }
  return 0;
}

uint32_t TTSFetchNext(uint32_t handle, TTSSynthRecord* record) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  ++s.rec.fetch_next;
  Connection* c = find(handle);
  if (!c) return 0x80000001u;
  ++c->fetches;
  const Failure& f = failure(Op::FetchNext);
  if (f.armed && c->fetches == f.nth) return f.result;
  if (s.stream.on) {
    hand_out(*c, stream_piece(s.stream, *c, false), record);
  } else if (c->next < s.script.size()) {
    hand_out(*c, s.script[c->next++], record);
  } else {
    hand_out(*c, Piece{0, {}, 0, 0, 0}, record);  // past the script: empty last piece
  }
  return 0;
}

uint32_t TTSDisconnect(uint32_t handle) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  ++s.rec.disconnect;
  if (s.conns.erase(handle)) --s.rec.open_handles;
  const Failure& f = failure(Op::Disconnect);
  return f.armed ? f.result : 0;
}

}  // extern "C"
