// Control interface of the scripted test engine, a libkavritts.so that the
// tests program and observe.  Every connection replays the same script of
// pieces; what the engine received is recorded for the test to inspect.
//
// Thread safety: the TTS* operations may run on many handles at once.  The
// control calls below are meant for a test's set-up and checks, while no
// request is running.
#ifndef TAVN_ENGINES_SCRIPTED_ENGINE_H_
#define TAVN_ENGINES_SCRIPTED_ENGINE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "synth/kavritts.h"

namespace scripted {

// One piece of audio as TTSSynthText (the first piece) or TTSFetchNext (the
// later ones) hands it out.  `bytes` is the whole piece, header included.
struct Piece {
  uint32_t status = 1;
  std::vector<uint8_t> bytes;
  uint16_t non_audio_bytes = 0;
  uint32_t sentence_begin = 0;
  uint32_t sentence_end = 0;
};

// A RIFF/WAVE header of 44 or 58 bytes (58: with a fact chunk) for the
// given format tag, rate and bits, with zero size fields.
std::vector<uint8_t> wave_header(int length, uint16_t format_tag = 1, uint32_t rate = 8000,
                                 uint16_t bits = 16);

// A piece of `header_length` header bytes (0, 44 or 58) followed by
// `audio_bytes` bytes of `fill`.
Piece make_piece(uint32_t status, int header_length, uint32_t audio_bytes, uint8_t fill = 0x11,
                 uint32_t begin = 0, uint32_t end = 0, uint16_t non_audio = 0);

enum class Op { Initialize, Connect, SetParam, SynthText, FetchNext, Disconnect };

// Back to the default script (a header piece, then one piece of 1600
// sound bytes); forgets failures, stored format and records.
void reset();
void set_script(std::vector<Piece> pieces);
// Makes `op` return `result`.  For Connect the handle is 0 and `result`
// goes to the record's error_code.  For FetchNext only the nth call of a
// connection (1-based) fails; `nth` is ignored for the other operations.
void fail(Op op, uint32_t result, uint32_t nth = 1);
// What TTSGetParam(.., 5, ..) stores; `has_value` false stores nothing.
void set_format(bool has_value, uint32_t value = 0);
// Generated script: a first piece of only a header, then pieces of
// `piece_bytes` audio each (each with the header again) until
// `total_audio_bytes` are out.  Nothing but one piece is held in memory.
void set_stream(uint64_t total_audio_bytes, uint32_t piece_bytes, int header_length);

struct SetParamCall {
  uint32_t id, value;
};
struct GetParamCall {
  uint32_t id;
  uint32_t size_in;
};

// What the engine has received since the last reset().
struct Record {
  int initialize = 0, uninitialize = 0, connect = 0, set_param = 0, get_param = 0;
  int synth_text = 0, fetch_next = 0, disconnect = 0;
  std::vector<uint8_t> connect_bytes;    // the last connect record, byte for byte
  std::vector<SetParamCall> set_params;  // the first 64 calls
  std::vector<GetParamCall> get_params;  // the first 64 calls
  std::string text;                      // the last text, text_length bytes
  uint32_t text_length = 0;
  int text_terminator = -1;  // the byte at text[text_length]
  int open_handles = 0;
};
Record record();

}  // namespace scripted

#endif  // TAVN_ENGINES_SCRIPTED_ENGINE_H_
