#include "engines/speech/audio/telephone_encoder.h"

#include "engines/speech/engine_codes.h"

// Library headers last: spandsp's define math helpers of their own.
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

TelephoneEncoder::~TelephoneEncoder() { release(); }

void TelephoneEncoder::release() {
  if (g726_ != nullptr) g726_free(g726_);
  if (oki_ != nullptr) oki_adpcm_free(oki_);
  g726_ = nullptr;
  oki_ = nullptr;
}

uint32_t TelephoneEncoder::start(Codec codec, uint32_t bits) {
  release();
  codec_ = codec;
  bits_ = bits;
  if (codec == Codec::kG726) {
    // spandsp names the G.726 variants by their bit rate at 8000 samples/s.
    g726_ =
        g726_init(nullptr, static_cast<int>(bits * 8000), G726_ENCODING_LINEAR, G726_PACKING_RIGHT);
    if (g726_ == nullptr) return ENGINE_ERR_CODEC;
  } else if (codec == Codec::kVox) {
    // The 32000 mode codes every input sample; the 6000 Hz rows get samples
    // already resampled to 6000 Hz.
    oki_ = oki_adpcm_init(nullptr, 32000);
    if (oki_ == nullptr) return ENGINE_ERR_CODEC;
  }
  return 0;
}

uint32_t TelephoneEncoder::encode(const int16_t* in, size_t n, std::vector<uint8_t>* out) {
  const size_t old_size = out->size();
  switch (codec_) {
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
      return 0;
    case Codec::kPcm8:
      out->resize(old_size + n);
      for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = to_unsigned8(in[i]);
      return 0;
    case Codec::kAlaw:
      out->resize(old_size + n);
      for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = linear_to_alaw(in[i]);
      return 0;
    case Codec::kUlaw:
      out->resize(old_size + n);
      for (size_t i = 0; i < n; ++i) (*out)[old_size + i] = linear_to_ulaw(in[i]);
      return 0;
    case Codec::kG726:
    case Codec::kVox: {
      if ((codec_ == Codec::kG726 ? g726_ == nullptr : oki_ == nullptr)) return ENGINE_ERR_CODEC;
      const size_t bytes = n * bits_ / 8;  // n is a whole number of bytes' worth
      out->resize(old_size + bytes);
      size_t written = 0;
      for (size_t at = 0; at < n; at += kChunk) {
        const int len = static_cast<int>(n - at < kChunk ? n - at : kChunk);
        uint8_t* dst = out->data() + old_size + written;
        const int got = codec_ == Codec::kG726 ? g726_encode(g726_, dst, in + at, len)
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
      return 0;
    }
    default: return ENGINE_ERR_CODEC;  // coded elsewhere (MP3, AMR)
  }
}

}  // namespace tavn::speech
