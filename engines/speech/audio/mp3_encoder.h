// MP3 coding of one request's samples with libmp3lame: constant bit rate,
// mono, no VBR/Info tag (the stream is written front to back and never
// revisited), so every frame has the same length and players compute the
// duration from the file's size.
//
// One encoder per connection, used by one thread at a time.  Distinct
// encoders run in parallel; only lame's set-up, which fills process-wide
// tables the first time, takes a process-wide lock.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_MP3_ENCODER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_MP3_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

struct lame_global_struct;

namespace tavn::speech {

class Mp3Encoder {
 public:
  Mp3Encoder() = default;
  ~Mp3Encoder();
  Mp3Encoder(const Mp3Encoder&) = delete;
  Mp3Encoder& operator=(const Mp3Encoder&) = delete;

  // Begins a new stream of `sample_rate` Hz samples (one lame can carry)
  // at `kbps`.  Returns 0 or ENGINE_ERR_CODEC.
  uint32_t start(uint32_t sample_rate, uint32_t kbps);

  // Appends the frames that `count` more samples complete to `out`; lame
  // keeps the rest until the next call.  finish() appends the remaining
  // frames; the stream then needs a new start().  Return 0,
  // ENGINE_ERR_CODEC or ENGINE_ERR_NO_MEMORY (out unchanged).
  uint32_t encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out);
  uint32_t finish(std::vector<uint8_t>* out);

 private:
  void release();

  lame_global_struct* lame_ = nullptr;
  std::vector<uint8_t> buffer_;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_MP3_ENCODER_H_
