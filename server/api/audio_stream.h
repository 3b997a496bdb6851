// Turns the engine's pieces of one request into the bytes of one HTTP
// answer, and keeps what the finished file's header needs.
//
// The engine's first piece is the header alone (the WAVE header, or the AMR
// magic); every later piece repeats the WAVE header in front of one
// sentence's audio.  The answer is the first piece once, then each later
// piece's audio without its repeated header; with AudioOutput::raw the
// WAVE header is left out altogether.
//
// A streamed answer is sent before its length is known, so its WAVE header
// carries the sizes that players read as "until the end of the stream":
// RIFF and data chunk sizes 0xFFFFFFFF, and (58-byte headers) a fact chunk
// sample count of 0, which makes readers count the samples from the
// length.  final_header() gives the header with the real sizes, for a
// stored copy (the prompt cache) whose length is known.
//
// Not thread-safe: one per answer.
#ifndef TAVN_SERVER_API_AUDIO_STREAM_H_
#define TAVN_SERVER_API_AUDIO_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "server/api/audio_output.h"

namespace tavn::server {

class AudioStream {
 public:
  explicit AudioStream(const AudioOutput& out) : out_(out) {}

  // Appends to `*body` the bytes to send for the next piece: `length`
  // bytes of which the first `non_audio_bytes` are its header.  Returns the
  // number of audio bytes it carried (0 for the first piece).
  size_t add_piece(const uint8_t* piece, size_t length, size_t non_audio_bytes, std::string* body);

  // Audio bytes so far (the header and AMR magic not counted).
  uint64_t audio_bytes() const { return audio_bytes_; }
  // Bytes of the answer so far.
  uint64_t body_bytes() const { return body_bytes_; }

  // The WAVE header with the sizes of the audio so far, to replace the
  // answer's first bytes; empty when the answer has no WAVE header.
  std::string final_header() const;

 private:
  AudioOutput out_;
  bool first_ = true;
  std::string header_;  // the WAVE header as the engine wrote it
  uint64_t audio_bytes_ = 0, body_bytes_ = 0;
};

// Sets the sizes in a RIFF/WAVE header (`header`, its whole length): RIFF
// size, data chunk size and, if there is a fact chunk, its sample count.
// Values over 32 bits are stored as 0xFFFFFFFF.  False when `header` is not
// a RIFF/WAVE header ending in its data chunk.
bool set_wave_sizes(std::string* header, uint32_t riff_size, uint32_t data_size,
                    uint32_t fact_samples);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_AUDIO_STREAM_H_
