#include "engines/speech/audio/audio_encoder.h"

#include <algorithm>
#include <new>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {

uint32_t AudioEncoder::start(const OutputFormat& fmt, uint32_t input_rate, Resampling resampling) {
  started_ = false;
  if (uint32_t r = telephone_.start(fmt.codec, fmt.bits)) return r;
  if (uint32_t r = resampler_.start(input_rate, fmt.sample_rate, resampling)) return r;
  if (fmt.codec == Codec::kMp3) {
    if (uint32_t r = mp3_.start(fmt.sample_rate, fmt.kbps)) return r;
  } else if (fmt.codec == Codec::kAmrNb || fmt.codec == Codec::kAmrWb) {
    if (uint32_t r = amr_.start(fmt.codec == Codec::kAmrWb)) return r;
  }
  fmt_ = fmt;
  started_ = true;
  return 0;
}

uint32_t AudioEncoder::encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  const size_t old_size = out->size();
  try {
    size_t resampled = 0;
    if (uint32_t r = resampler_.resample(samples, count, &resampled_, &resampled)) return r;
    const size_t unit = fmt_.sample_unit;
    const size_t n = (resampled + unit - 1) / unit * unit;
    if (resampled_.size() < n) resampled_.resize(n);
    std::fill(resampled_.begin() + resampled, resampled_.begin() + n, int16_t{0});
    switch (fmt_.codec) {
      case Codec::kMp3: return mp3_.encode(resampled_.data(), n, out);
      case Codec::kAmrNb:
      case Codec::kAmrWb: return amr_.encode(resampled_.data(), n, out);
      default: return telephone_.encode(resampled_.data(), n, out);
    }
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
}

uint32_t AudioEncoder::finish(std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  switch (fmt_.codec) {
    case Codec::kMp3: return mp3_.finish(out);
    case Codec::kAmrNb:
    case Codec::kAmrWb: return amr_.finish(out);
    default: return 0;
  }
}

}  // namespace tavn::speech
