// AMR coding of one request's samples: AMR-NB (opencore-amrnb, 8000 Hz,
// 12.2 kbit/s) or AMR-WB (vo-amrwbenc, 16000 Hz, 23.85 kbit/s), as the
// frames of the single-channel storage format (RFC 4867, section 5), whose
// file magic is kAmrNbMagic or kAmrWbMagic.
//
// One encoder per connection, used by one thread at a time; both libraries
// keep all their state in the encoder, so distinct encoders run in parallel.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_AMR_ENCODER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_AMR_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavn::speech {

constexpr char kAmrNbMagic[] = "#!AMR\n";
constexpr char kAmrWbMagic[] = "#!AMR-WB\n";

class AmrEncoder {
 public:
  AmrEncoder() = default;
  ~AmrEncoder();
  AmrEncoder(const AmrEncoder&) = delete;
  AmrEncoder& operator=(const AmrEncoder&) = delete;

  // Begins a new stream: wideband (16000 Hz input) or narrowband (8000 Hz).
  // Returns 0 or ENGINE_ERR_CODEC.
  uint32_t start(bool wideband);

  // Appends the 20 ms frames that `count` more samples complete to `out`,
  // keeping the rest for the next call; finish() pads the rest with silence
  // to a last frame.  Return 0, ENGINE_ERR_CODEC or ENGINE_ERR_NO_MEMORY
  // (out unchanged).
  uint32_t encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out);
  uint32_t finish(std::vector<uint8_t>* out);

 private:
  void release();
  uint32_t encode_frame(const int16_t* frame, std::vector<uint8_t>* out);

  bool wideband_ = false;
  void* state_ = nullptr;
  std::vector<int16_t> pending_;  // fewer samples than one frame
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_AMR_ENCODER_H_
