#include "engines/speech/audio/resampler.h"

#include <soxr.h>

#include <algorithm>
#include <cstdint>
#include <new>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {

Resampler::~Resampler() {
  if (soxr_ != nullptr) soxr_delete(soxr_);
}

uint32_t Resampler::start(uint32_t input_rate, uint32_t output_rate, Resampling resampling) {
  started_ = false;
  if (input_rate == 0 || output_rate == 0) return ENGINE_ERR_CODEC;
  // Cubic interpolation costs a third of a filter.  From 22050 Hz down to 16000
  // Hz or more it folds only what lies above 8 kHz, onto 5 to 8 kHz, and keeps
  // the spectrum below 3.4 kHz within 0.05 dB; below 16000 Hz the fold would
  // land in the telephone band, so a 16-bit filter (medium rolloff) is used.
  const unsigned long recipe = resampling == Resampling::kBest          ? SOXR_HQ
                               : output_rate >= kQuickResamplingMinRate ? SOXR_QQ
                                                                        : SOXR_MQ;
  if (soxr_ != nullptr &&
      (output_rate_ != output_rate || input_rate_ != input_rate || recipe_ != recipe)) {
    soxr_delete(soxr_);
    soxr_ = nullptr;
  }
  if (soxr_ == nullptr && output_rate != input_rate) {
    soxr_error_t err = nullptr;
    soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_INT16_I);
    io.flags = SOXR_NO_DITHER;  // silence stays exactly silent, output is repeatable
    const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // no helper threads
    soxr_ = soxr_create(input_rate, output_rate, 1, &err, &io, &quality, &runtime);
    if (soxr_ == nullptr || err != nullptr) {
      if (soxr_ != nullptr) soxr_delete(soxr_);
      soxr_ = nullptr;
      return ENGINE_ERR_CODEC;
    }
  }
  input_rate_ = input_rate;
  output_rate_ = output_rate;
  recipe_ = recipe;
  if (soxr_ != nullptr) soxr_clear(soxr_);
  started_ = true;
  return 0;
}

// Hands `count` samples to libsoxr as floats, kBlock at a time: the
// conversion loop runs over whole blocks (the compiler turns it into vector
// code), and libsoxr's buffers stay small.
uint32_t Resampler::feed(const int16_t* samples, size_t count, std::vector<int16_t>* out,
                         size_t* total) {
  for (size_t at = 0; at < count; at += kBlock) {
    const size_t len = count - at < kBlock ? count - at : kBlock;
    float* block = block_.data();
    const int16_t* in = samples + at;
    constexpr float kScale = 1.0f / 32768;  // libsoxr's own scale for 16-bit input
    if (len == kBlock) {
      for (size_t i = 0; i < kBlock; ++i) block[i] = in[i] * kScale;
    } else {
      for (size_t i = 0; i < len; ++i) block[i] = in[i] * kScale;
    }
    // soxr_process takes no more input than its output room can hold.
    for (size_t used = 0; used < len;) {
      if (*total == out->size()) out->resize(out->size() * 2);
      size_t done_in = 0, done_out = 0;
      const soxr_error_t err = soxr_process(soxr_, block + used, len - used, &done_in,
                                            out->data() + *total, out->size() - *total, &done_out);
      if (err != nullptr || (done_in == 0 && done_out == 0)) return ENGINE_ERR_CODEC;
      used += done_in;
      *total += done_out;
    }
  }
  return 0;
}

// Gives what libsoxr still holds (its flush) until `enough` samples are
// out in all or it has nothing more.
uint32_t Resampler::drain(size_t enough, std::vector<int16_t>* out, size_t* total) {
  while (*total < enough) {
    if (*total == out->size()) out->resize(out->size() * 2);
    size_t more = 0;
    if (soxr_process(soxr_, nullptr, 0, nullptr, out->data() + *total, out->size() - *total,
                     &more) != nullptr)
      return ENGINE_ERR_CODEC;
    *total += more;
    if (more == 0) break;
  }
  return 0;
}

// Output room for `count` input samples at the current ratio, and the float
// block they pass through.  Returns libsoxr's rounding of count * out / in
// (the same double arithmetic): the length of a sentence of `count` samples.
size_t Resampler::make_room(size_t count, std::vector<int16_t>* out) {
  const double io_ratio = static_cast<double>(input_rate_) / output_rate_;
  const size_t expected = static_cast<size_t>(static_cast<double>(count) / io_ratio + .5);
  if (out->size() < expected + kSlack) out->resize(expected + kSlack);
  if (block_.size() < kBlock) block_.resize(kBlock);
  return expected;
}

// One sentence through libsoxr, which the caller then clears.
uint32_t Resampler::run(const int16_t* samples, size_t count, std::vector<int16_t>* out,
                        size_t* out_count) {
  const size_t expected = make_room(count, out);
  size_t total = 0;
  uint32_t r = feed(samples, count, out, &total);
  const bool quick = recipe_ == SOXR_QQ;
  if (r == 0 && quick) {
    // Cubic interpolation looks two samples ahead, so a few zeros after the
    // sentence give its last samples at once: the values the flush gives,
    // without the flush's whole block of silence.
    static const int16_t kSilence[kQuickTail] = {};
    r = feed(kSilence, kQuickTail, out, &total);
  }
  // The other recipes' filters need the flush for their last samples.
  if (r == 0) r = drain(quick ? expected : SIZE_MAX, out, &total);
  if (r != 0) return r;
  *out_count = quick && total > expected ? expected : total;
  return 0;
}

uint32_t Resampler::resample(const int16_t* samples, size_t count, std::vector<int16_t>* out,
                             size_t* out_count) {
  if (!started_) return ENGINE_ERR_CODEC;
  uint32_t r = 0;
  try {
    if (copies()) {
      if (out->size() < count) out->resize(count);
      std::copy(samples, samples + count, out->begin());
      *out_count = count;
      return 0;
    }
    r = run(samples, count, out, out_count);
  } catch (const std::bad_alloc&) {
    r = ENGINE_ERR_NO_MEMORY;
  }
  if (soxr_ != nullptr) soxr_clear(soxr_);  // ready for the next sentence
  return r;
}

uint32_t Resampler::resample_part(const int16_t* samples, size_t count, bool last,
                                  std::vector<int16_t>* out, size_t* out_count) {
  if (!started_) return ENGINE_ERR_CODEC;
  if (copies()) return resample(samples, count, out, out_count);
  uint32_t r = 0;
  try {
    make_room(count, out);
    size_t total = 0;
    r = feed(samples, count, out, &total);
    if (r == 0 && last) r = drain(SIZE_MAX, out, &total);
    if (r == 0) *out_count = total;
  } catch (const std::bad_alloc&) {
    r = ENGINE_ERR_NO_MEMORY;
  }
  if (last || r != 0) soxr_clear(soxr_);
  return r;
}

}  // namespace tavn::speech
