// Turns the synthesizer's samples into one audio data format: resampling
// (libsoxr) and encoding (libspandsp for G.711, G.726 and OKI ADPCM;
// Mp3Encoder and AmrEncoder for rows 23 to 30).
//
// One encoder belongs to one connection and is used by one thread at a time.
// The ADPCM state runs on from sentence to sentence of a request, so the
// pieces of one request form one continuous stream; start() begins a new one.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_ENCODER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engines/speech/amr_encoder.h"
#include "engines/speech/mp3_encoder.h"
#include "engines/speech/output_format.h"

struct soxr;
struct g726_state_s;
struct oki_adpcm_state_s;

namespace tavn::speech {

// How closely resampling keeps the spectrum, against its cost.
enum class Resampling {
  kBest,   // libsoxr's high quality (20-bit), for every rate
  kQuick,  // cubic interpolation for output rates from kQuickResamplingMinRate
           // up, libsoxr's medium quality (16-bit) below
};
constexpr uint32_t kQuickResamplingMinRate = 16000;

class AudioEncoder {
 public:
  AudioEncoder() = default;
  ~AudioEncoder();
  AudioEncoder(const AudioEncoder&) = delete;
  AudioEncoder& operator=(const AudioEncoder&) = delete;

  // Begins a new stream of `fmt` from samples at `input_rate` Hz (no
  // resampling when the rates are equal).  Returns 0, or ENGINE_ERR_CODEC
  // when the resampler or encoder cannot be made (the encoder is then
  // unusable until a successful start()).
  uint32_t start(const OutputFormat& fmt, uint32_t input_rate,
                 Resampling resampling = Resampling::kBest);

  // Resamples and encodes `count` samples (one sentence) and appends the bytes
  // to `out`.  The resampled sentence is padded with silence to a multiple of
  // fmt.sample_unit samples, so it always ends on a byte boundary and its
  // byte count is exactly its playing time times the format's byte rate.
  // Returns 0, ENGINE_ERR_CODEC, or ENGINE_ERR_NO_MEMORY (out unchanged).
  uint32_t encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out);

  // Ends the stream: appends what the MP3 and AMR coders still hold (the
  // other formats hold nothing).  Returns 0, ENGINE_ERR_CODEC or
  // ENGINE_ERR_NO_MEMORY.
  uint32_t finish(std::vector<uint8_t>* out);

 private:
  void release_codec();
  uint32_t resample(const int16_t* samples, size_t count);
  uint32_t feed(const int16_t* samples, size_t count, size_t* total);

  static constexpr size_t kResampleBlock = 4096;  // samples per resampler call
  static constexpr size_t kResampleSlack = 64;    // output room past a sentence's length
  static constexpr size_t kQuickTail = 16;  // zeros that end a sentence for cubic interpolation

  OutputFormat fmt_;
  bool started_ = false;
  uint32_t input_rate_ = 0;
  soxr* resampler_ = nullptr;  // made for input_rate_ -> resampler_rate_
  uint32_t resampler_rate_ = 0;
  unsigned long resampler_recipe_ = 0;
  g726_state_s* g726_ = nullptr;
  oki_adpcm_state_s* oki_ = nullptr;
  Mp3Encoder mp3_;
  AmrEncoder amr_;
  std::vector<float> block_;        // kResampleBlock samples on their way to the resampler
  std::vector<int16_t> resampled_;  // one sentence at the format's rate, then spare room
  size_t resampled_count_ = 0;      // samples of the sentence in resampled_
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_ENCODER_H_
