// Sample-rate conversion of one sentence at a time (libsoxr).
//
// Each sentence is resampled on its own, exactly as libsoxr gives it in one
// call, so a sentence's length is the resampler's rounding of
// count * output rate / input rate and no sample of one sentence leaks into
// the next piece.  Samples go to libsoxr as floats, kBlock at a time, so its
// buffers stay a few KiB whatever the sentence's length.
//
// One resampler belongs to one connection and is used by one thread at a
// time; distinct resamplers run in parallel (libsoxr keeps all its state in
// the resampler and starts no threads).
#ifndef TAVN_ENGINES_SPEECH_AUDIO_RESAMPLER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_RESAMPLER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

struct soxr;

namespace tavn::speech {

// How closely resampling keeps the spectrum, against its cost.
enum class Resampling {
  kBest,   // libsoxr's high quality (20-bit), for every rate
  kQuick,  // cubic interpolation for output rates from kQuickResamplingMinRate
           // up, libsoxr's medium quality (16-bit) below
};
constexpr uint32_t kQuickResamplingMinRate = 16000;

class Resampler {
 public:
  Resampler() = default;
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Prepares for `input_rate` -> `output_rate` Hz at `resampling` (equal
  // rates: samples are copied unchanged).  The libsoxr state is kept when
  // nothing changed since the last call.  Returns 0, or ENGINE_ERR_CODEC
  // when libsoxr cannot be set up (resample() then fails until a successful
  // start()).
  uint32_t start(uint32_t input_rate, uint32_t output_rate, Resampling resampling);

  // Resamples `count` samples, one sentence, into the front of `*out`,
  // growing it as needed (it may be reused from sentence to sentence, and
  // then keeps its size), and sets `*out_count` to the samples written.
  // Returns 0, ENGINE_ERR_CODEC or ENGINE_ERR_NO_MEMORY (`*out` then
  // unspecified); the resampler is ready for the next sentence either way.
  uint32_t resample(const int16_t* samples, size_t count, std::vector<int16_t>* out,
                    size_t* out_count);

  // Resamples a long recording given in parts: any number of calls with
  // `last` false, then one with `last` true, which also gives what libsoxr
  // still holds and readies the resampler for the next sentence.  The parts
  // form one stream, so no edge falls between them.  `*out` and `*out_count`
  // as resample() (each call writes the front of `*out` again).  Returns 0,
  // ENGINE_ERR_CODEC or ENGINE_ERR_NO_MEMORY; after a failure the stream is
  // dropped and the resampler is ready for the next sentence.
  uint32_t resample_part(const int16_t* samples, size_t count, bool last, std::vector<int16_t>* out,
                         size_t* out_count);

 private:
  uint32_t feed(const int16_t* samples, size_t count, std::vector<int16_t>* out, size_t* total);
  uint32_t drain(size_t enough, std::vector<int16_t>* out, size_t* total);
  bool copies() const { return soxr_ == nullptr; }
  size_t make_room(size_t count, std::vector<int16_t>* out);
  uint32_t run(const int16_t* samples, size_t count, std::vector<int16_t>* out, size_t* out_count);

  static constexpr size_t kBlock = 4096;    // samples per libsoxr call
  static constexpr size_t kSlack = 64;      // output room past a sentence's length
  static constexpr size_t kQuickTail = 16;  // zeros that end a sentence for cubic interpolation

  bool started_ = false;
  soxr* soxr_ = nullptr;  // made for input_rate_ -> output_rate_; none for equal rates
  uint32_t input_rate_ = 0;
  uint32_t output_rate_ = 0;
  unsigned long recipe_ = 0;
  std::vector<float> block_;  // kBlock samples on their way to libsoxr
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_RESAMPLER_H_
