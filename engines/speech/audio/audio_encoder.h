// Turns a back end's samples into one audio data format: a Resampler to the
// format's rate, then its coder (TelephoneEncoder for formats 1 to 22,
// Mp3Encoder and AmrEncoder for rows 23 to 30).
//
// One encoder belongs to one connection and is used by one thread at a time.
// The ADPCM state runs on from sentence to sentence of a request, so the
// pieces of one request form one continuous stream; start() begins a new one.
// Samples may come at a rate of their own in each call (marked-up texts
// switch voices and splice recordings), so one stream at the format's rate
// comes out whatever speaks.
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

  // As encode(), for samples at `input_rate` Hz resampled at `resampling`
  // (the rate of start() is kept for the encode() above).
  uint32_t encode(const int16_t* samples, size_t count, uint32_t input_rate, Resampling resampling,
                  std::vector<uint8_t>* out);

  // Appends exactly `count` samples of silence at the format's rate, rounded
  // up to a multiple of fmt.sample_unit.  Results as encode().
  uint32_t encode_silence(size_t count, std::vector<uint8_t>* out);

  // A long recording in parts, so it never needs to be held whole:
  // begin_stream(), then stream() for each part, then end_stream().  The
  // parts are resampled as one stream; stream() codes whole sample units and
  // keeps the rest for the next call, end_stream() codes what remains padded
  // with silence to a whole unit.  No other encode call may come in between.
  // Results as encode().
  uint32_t begin_stream(uint32_t input_rate, Resampling resampling);
  uint32_t stream(const int16_t* samples, size_t count, std::vector<uint8_t>* out);
  uint32_t end_stream(std::vector<uint8_t>* out);

  // Ends the stream: appends what the MP3 and AMR coders still hold (the
  // other formats hold nothing).  Returns 0, ENGINE_ERR_CODEC or
  // ENGINE_ERR_NO_MEMORY.
  uint32_t finish(std::vector<uint8_t>* out);

 private:
  uint32_t code(const int16_t* samples, size_t count, std::vector<uint8_t>* out);
  uint32_t code_padded(size_t count, std::vector<uint8_t>* out);
  uint32_t stream_part(const int16_t* samples, size_t count, bool last, std::vector<uint8_t>* out);

  OutputFormat fmt_;
  bool started_ = false;
  uint32_t input_rate_ = 0;  // of start()
  Resampling resampling_ = Resampling::kBest;
  size_t held_ = 0;  // stream samples at the front of resampled_ not coded yet
  Resampler resampler_;
  TelephoneEncoder telephone_;
  Mp3Encoder mp3_;
  AmrEncoder amr_;
  std::vector<int16_t> resampled_;  // one sentence at the format's rate, then spare room
  std::vector<int16_t> part_;       // one part of a stream at the format's rate
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_AUDIO_ENCODER_H_
