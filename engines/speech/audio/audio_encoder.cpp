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
  input_rate_ = input_rate;
  resampling_ = resampling;
  started_ = true;
  return 0;
}

// Codes `count` samples (whole sample units) with the format's coder.
uint32_t AudioEncoder::code(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  switch (fmt_.codec) {
    case Codec::kMp3: return mp3_.encode(samples, count, out);
    case Codec::kAmrNb:
    case Codec::kAmrWb: return amr_.encode(samples, count, out);
    default: return telephone_.encode(samples, count, out);
  }
}

// Pads the first `count` samples of resampled_ with silence to whole sample
// units and codes them.
uint32_t AudioEncoder::code_padded(size_t count, std::vector<uint8_t>* out) {
  const size_t unit = fmt_.sample_unit;
  const size_t n = (count + unit - 1) / unit * unit;
  if (resampled_.size() < n) resampled_.resize(n);
  std::fill(resampled_.begin() + static_cast<std::ptrdiff_t>(count),
            resampled_.begin() + static_cast<std::ptrdiff_t>(n), int16_t{0});
  return code(resampled_.data(), n, out);
}

uint32_t AudioEncoder::encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  return encode(samples, count, input_rate_, resampling_, out);
}

uint32_t AudioEncoder::encode(const int16_t* samples, size_t count, uint32_t input_rate,
                              Resampling resampling, std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  const size_t old_size = out->size();
  try {
    // Keeps libsoxr's state when the rate and quality are the ones before.
    if (uint32_t r = resampler_.start(input_rate, fmt_.sample_rate, resampling)) return r;
    size_t resampled = 0;
    if (uint32_t r = resampler_.resample(samples, count, &resampled_, &resampled)) return r;
    return code_padded(resampled, out);
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
}

uint32_t AudioEncoder::encode_silence(size_t count, std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  // Coded a block at a time: a ten-second break needs no ten-second buffer.
  // The block is zeroed for each call, as the AMR-NB coder works in its
  // input buffer.
  static constexpr size_t kBlock = 4096;  // a multiple of every sample unit (1, 2, 8)
  const size_t old_size = out->size();
  try {
    if (resampled_.size() < kBlock) resampled_.resize(kBlock);
    const size_t unit = fmt_.sample_unit;
    count = (count + unit - 1) / unit * unit;
    while (count > 0) {
      const size_t n = count < kBlock ? count : kBlock;
      std::fill(resampled_.begin(), resampled_.begin() + static_cast<std::ptrdiff_t>(n),
                int16_t{0});
      if (uint32_t r = code(resampled_.data(), n, out)) return r;
      count -= n;
    }
    return 0;
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
}

uint32_t AudioEncoder::begin_stream(uint32_t input_rate, Resampling resampling) {
  if (!started_) return ENGINE_ERR_CODEC;
  held_ = 0;
  return resampler_.start(input_rate, fmt_.sample_rate, resampling);
}

uint32_t AudioEncoder::stream(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  return stream_part(samples, count, false, out);
}

uint32_t AudioEncoder::end_stream(std::vector<uint8_t>* out) {
  return stream_part(nullptr, 0, true, out);
}

uint32_t AudioEncoder::stream_part(const int16_t* samples, size_t count, bool last,
                                   std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  const size_t old_size = out->size();
  try {
    size_t resampled = 0;
    if (uint32_t r = resampler_.resample_part(samples, count, last, &part_, &resampled)) return r;
    // The samples held from the last part go first.
    if (resampled_.size() < held_ + resampled) resampled_.resize(held_ + resampled);
    std::copy(part_.begin(), part_.begin() + static_cast<std::ptrdiff_t>(resampled),
              resampled_.begin() + static_cast<std::ptrdiff_t>(held_));
    const size_t total = held_ + resampled;
    if (last) {
      held_ = 0;
      return code_padded(total, out);
    }
    const size_t whole = total / fmt_.sample_unit * fmt_.sample_unit;
    if (uint32_t r = code(resampled_.data(), whole, out)) return r;
    std::copy(resampled_.begin() + static_cast<std::ptrdiff_t>(whole),
              resampled_.begin() + static_cast<std::ptrdiff_t>(total), resampled_.begin());
    held_ = total - whole;
    return 0;
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
