#include "engines/speech/audio_encoder.h"

#include <algorithm>
#include <new>

#include "engines/speech/engine_codes.h"

// Library headers last: spandsp's define math helpers of their own.
#include <soxr.h>
#include <spandsp/telephony.h>  // first: the other spandsp headers use its types

#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
#include <spandsp/g726.h>
#include <spandsp/oki_adpcm.h>

namespace tavn::speech {
namespace {

// Encodes at most this many samples per codec call (the codecs take int).
constexpr size_t kChunk = 1u << 20;

uint8_t to_unsigned8(int16_t s) {
  const int v = (s + 32768 + 128) >> 8;  // rounded to the nearest step
  return static_cast<uint8_t>(v > 255 ? 255 : v);
}

}  // namespace

AudioEncoder::~AudioEncoder() {
  release_codec();
  if (resampler_ != nullptr) soxr_delete(resampler_);
}

void AudioEncoder::release_codec() {
  if (g726_ != nullptr) g726_free(g726_);
  if (oki_ != nullptr) oki_adpcm_free(oki_);
  g726_ = nullptr;
  oki_ = nullptr;
}

uint32_t AudioEncoder::start(const OutputFormat& fmt, uint32_t input_rate, Resampling resampling) {
  started_ = false;
  release_codec();
  if (input_rate == 0 || fmt.sample_rate == 0) return ENGINE_ERR_CODEC;
  // Cubic interpolation costs a third of a filter.  From 22050 Hz down to 16000
  // Hz or more it folds only what lies above 8 kHz, onto 5 to 8 kHz, and keeps
  // the spectrum below 3.4 kHz within 0.05 dB; below 16000 Hz the fold would
  // land in the telephone band, so a 16-bit filter (medium rolloff) is used.
  const unsigned long recipe = resampling == Resampling::kBest              ? SOXR_HQ
                               : fmt.sample_rate >= kQuickResamplingMinRate ? SOXR_QQ
                                                                            : SOXR_MQ;
  if (resampler_ != nullptr && (resampler_rate_ != fmt.sample_rate || input_rate_ != input_rate ||
                                resampler_recipe_ != recipe)) {
    soxr_delete(resampler_);
    resampler_ = nullptr;
  }
  if (resampler_ == nullptr && fmt.sample_rate != input_rate) {
    soxr_error_t err = nullptr;
    soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_INT16_I);
    io.flags = SOXR_NO_DITHER;  // silence stays exactly silent, output is repeatable
    const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
    const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // no helper threads
    resampler_ = soxr_create(input_rate, fmt.sample_rate, 1, &err, &io, &quality, &runtime);
    if (resampler_ == nullptr || err != nullptr) {
      if (resampler_ != nullptr) soxr_delete(resampler_);
      resampler_ = nullptr;
      return ENGINE_ERR_CODEC;
    }
  }
  input_rate_ = input_rate;
  resampler_rate_ = fmt.sample_rate;
  resampler_recipe_ = recipe;
  if (resampler_ != nullptr) soxr_clear(resampler_);

  if (fmt.codec == Codec::kG726) {
    // spandsp names the G.726 variants by their bit rate at 8000 samples/s.
    g726_ = g726_init(nullptr, static_cast<int>(fmt.bits * 8000), G726_ENCODING_LINEAR,
                      G726_PACKING_RIGHT);
    if (g726_ == nullptr) return ENGINE_ERR_CODEC;
  } else if (fmt.codec == Codec::kVox) {
    // The 32000 mode codes every input sample; the 6000 Hz rows get samples
    // already resampled to 6000 Hz.
    oki_ = oki_adpcm_init(nullptr, 32000);
    if (oki_ == nullptr) return ENGINE_ERR_CODEC;
  } else if (fmt.codec == Codec::kMp3) {
    if (uint32_t r = mp3_.start(fmt.sample_rate, fmt.kbps)) return r;
  } else if (fmt.codec == Codec::kAmrNb || fmt.codec == Codec::kAmrWb) {
    if (uint32_t r = amr_.start(fmt.codec == Codec::kAmrWb)) return r;
  }
  fmt_ = fmt;
  started_ = true;
  return 0;
}

// Hands `count` samples to the resampler as floats, kResampleBlock at a
// time: the conversion loop runs over whole blocks (the compiler turns it
// into vector code), and the resampler's buffers stay small.
uint32_t AudioEncoder::feed(const int16_t* samples, size_t count, size_t* total) {
  for (size_t at = 0; at < count; at += kResampleBlock) {
    const size_t len = count - at < kResampleBlock ? count - at : kResampleBlock;
    float* block = block_.data();
    const int16_t* in = samples + at;
    constexpr float kScale = 1.0f / 32768;  // the resampler's own scale for 16-bit input
    if (len == kResampleBlock) {
      for (size_t i = 0; i < kResampleBlock; ++i) block[i] = in[i] * kScale;
    } else {
      for (size_t i = 0; i < len; ++i) block[i] = in[i] * kScale;
    }
    // soxr_process takes no more input than its output room can hold.
    for (size_t used = 0; used < len;) {
      if (*total == resampled_.size()) resampled_.resize(resampled_.size() * 2);
      size_t done_in = 0, done_out = 0;
      const soxr_error_t err =
          soxr_process(resampler_, block + used, len - used, &done_in, resampled_.data() + *total,
                       resampled_.size() - *total, &done_out);
      if (err != nullptr || (done_in == 0 && done_out == 0)) return ENGINE_ERR_CODEC;
      used += done_in;
      *total += done_out;
    }
  }
  return 0;
}

uint32_t AudioEncoder::resample(const int16_t* samples, size_t count) {
  if (resampler_ == nullptr) {
    resampled_.assign(samples, samples + count);
    resampled_count_ = count;
    return 0;
  }
  // Each sentence is resampled on its own and flushed: its length is the
  // resampler's rounding of count * out / in (the same double arithmetic).
  const double io_ratio = static_cast<double>(input_rate_) / resampler_rate_;
  const size_t expected = static_cast<size_t>(static_cast<double>(count) / io_ratio + .5);
  if (resampled_.size() < expected + kResampleSlack) {
    resampled_.resize(expected + kResampleSlack);  // kept between sentences
  }
  if (block_.size() < kResampleBlock) block_.resize(kResampleBlock);
  size_t total = 0;
  uint32_t r = feed(samples, count, &total);
  const bool quick = resampler_recipe_ == SOXR_QQ;
  if (r == 0 && quick) {
    // Cubic interpolation looks two samples ahead, so a few zeros after the
    // sentence give its last samples at once: the values the flush gives,
    // without the flush's whole block of silence.
    static const int16_t kSilence[kQuickTail] = {};
    r = feed(kSilence, kQuickTail, &total);
  }
  // The other recipes' filters need the flush for their last samples.
  while (r == 0 && !(quick && total >= expected)) {
    if (total == resampled_.size()) resampled_.resize(resampled_.size() * 2);
    size_t more = 0;
    if (soxr_process(resampler_, nullptr, 0, nullptr, resampled_.data() + total,
                     resampled_.size() - total, &more) != nullptr) {
      r = ENGINE_ERR_CODEC;
    }
    total += more;
    if (more == 0) break;
  }
  soxr_clear(resampler_);  // ready for the next sentence
  if (r != 0) return r;
  resampled_count_ = quick && total > expected ? expected : total;
  return 0;
}

uint32_t AudioEncoder::encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  if (!started_) return ENGINE_ERR_CODEC;
  const size_t old_size = out->size();
  try {
    if (uint32_t r = resample(samples, count)) return r;
    const size_t unit = fmt_.sample_unit;
    const size_t n = (resampled_count_ + unit - 1) / unit * unit;
    if (resampled_.size() < n) resampled_.resize(n);
    std::fill(resampled_.begin() + resampled_count_, resampled_.begin() + n, int16_t{0});
    const int16_t* in = resampled_.data();

    switch (fmt_.codec) {
      case Codec::kPcm16:
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        out->insert(out->end(), reinterpret_cast<const uint8_t*>(in),
                    reinterpret_cast<const uint8_t*>(in + n));
#else
        out->resize(old_size + 2 * n);
        for (size_t i = 0; i < n; ++i) {
          const uint16_t v = static_cast<uint16_t>(in[i]);
          (*out)[old_size + 2 * i] = static_cast<uint8_t>(v);
          (*out)[old_size + 2 * i + 1] = static_cast<uint8_t>(v >> 8);
        }
#endif
        break;
      case Codec::kPcm8:
        out->resize(old_size + n);
        for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = to_unsigned8(in[i]);
        break;
      case Codec::kAlaw:
        out->resize(old_size + n);
        for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = linear_to_alaw(in[i]);
        break;
      case Codec::kUlaw:
        out->resize(old_size + n);
        for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = linear_to_ulaw(in[i]);
        break;
      case Codec::kG726:
      case Codec::kVox: {
        const size_t bytes = n * fmt_.bits / 8;  // n is a whole number of bytes' worth
        out->resize(old_size + bytes);
        size_t written = 0;
        for (size_t at = 0; at < n; at += kChunk) {
          const int len = static_cast<int>(n - at < kChunk ? n - at : kChunk);
          uint8_t* dst = out->data() + old_size + written;
          const int got = fmt_.codec == Codec::kG726 ? g726_encode(g726_, dst, in + at, len)
                                                     : oki_adpcm_encode(oki_, dst, in + at, len);
          if (got < 0) {
            out->resize(old_size);
            return ENGINE_ERR_CODEC;
          }
          written += static_cast<size_t>(got);
        }
        if (written != bytes) {
          out->resize(old_size);
          return ENGINE_ERR_CODEC;
        }
        break;
      }
      case Codec::kMp3: return mp3_.encode(in, n, out);
      case Codec::kAmrNb:
      case Codec::kAmrWb: return amr_.encode(in, n, out);
    }
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
  return 0;
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
