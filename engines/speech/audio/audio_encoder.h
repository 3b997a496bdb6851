// Turns a back end's samples into one audio data format: a Resampler to the
// format's rate, then its coder (TelephoneEncoder for formats 1 to 22,
// Mp3Encoder and AmrEncoder for rows 23 to 30).
//
// One encoder belongs to one connection and is used by one thread at a time.
// The ADPCM state runs on from sentence to sentence of a request, so the
// pieces of one request form one continuous stream; start() begins a new one.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_AUDIO_ENCODER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_AUDIO_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engines/speech/audio/amr_encoder.h"
#include "engines/speech/audio/mp3_encoder.h"
#include "engines/speech/audio/output_format.h"
#include "engines/speech/audio/resampler.h"
#include "engines/speech/audio/telephone_encoder.h"

namespace tavn::speech {

class AudioEncoder {
 public:
  AudioEncoder() = default;
  ~AudioEncoder() = default;
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
  OutputFormat fmt_;
  bool started_ = false;
  Resampler resampler_;
  TelephoneEncoder telephone_;
  Mp3Encoder mp3_;
  AmrEncoder amr_;
  std::vector<int16_t> resampled_;  // one sentence at the format's rate, then spare room
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_AUDIO_ENCODER_H_
