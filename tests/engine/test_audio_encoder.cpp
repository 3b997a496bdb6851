#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engines/espeak/audio_encoder.h"
#include "engines/espeak/engine_codes.h"
#include "engines/espeak/output_format.h"

// spandsp's headers after <cmath>: they define math helpers of their own.
#include <spandsp/telephony.h>
#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
#include <spandsp/g726.h>
#include <spandsp/oki_adpcm.h>

namespace espeak_engine {
namespace {

constexpr uint32_t kInputRate = 22050;

// Decodes with spandsp, independently of the encoder's code paths.
std::vector<int16_t> decode(const OutputFormat& s, const std::vector<uint8_t>& b) {
  std::vector<int16_t> out(b.size() * 8 / s.bits);
  if (s.codec == Codec::kG726) {
    g726_state_t* d = g726_init(nullptr, int(s.bits * 8000), G726_ENCODING_LINEAR, G726_PACKING_RIGHT);
    out.resize(g726_decode(d, out.data(), b.data(), int(b.size())));
    g726_free(d);
  } else if (s.codec == Codec::kVox) {
    oki_adpcm_state_t* d = oki_adpcm_init(nullptr, 32000);
    out.resize(oki_adpcm_decode(d, out.data(), b.data(), int(b.size())));
    oki_adpcm_free(d);
  }
  for (size_t i = 0; i < out.size() && s.bits >= 8; ++i) {
    switch (s.codec) {
      case Codec::kPcm8: out[i] = static_cast<int16_t>((b[i] - 128) * 256); break;
      case Codec::kPcm16: out[i] = static_cast<int16_t>(b[2 * i] | b[2 * i + 1] << 8); break;
      case Codec::kAlaw: out[i] = alaw_to_linear(b[i]); break;
      default: out[i] = ulaw_to_linear(b[i]);
    }
  }
  return out;
}

TEST(AudioEncoder, EveryFormatKeepsItsByteRateAndDecodesToTheInput) {
  std::vector<int16_t> one_second(kInputRate);  // a 440 Hz tone
  for (size_t i = 0; i < kInputRate; ++i)
    one_second[i] = static_cast<int16_t>(8000 * std::sin(2 * 3.14159265358979 * 440 * i / kInputRate));
  for (uint32_t format = 1; format <= kLastFormat; ++format) {
    OutputFormat s;
    ASSERT_TRUE(lookup_format(format, &s));
    AudioEncoder enc;
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    std::vector<uint8_t> out;
    ASSERT_EQ(enc.encode(one_second.data(), one_second.size(), &out), 0u) << format;
    ASSERT_EQ(out.size(), s.sample_rate * s.bits / 8) << format;

    // The middle half holds the tone's level and its 440 Hz.
    const std::vector<int16_t> back = decode(s, out);
    ASSERT_EQ(back.size(), s.sample_rate) << format;
    double energy = 0;
    int crossings = 0;
    for (size_t i = s.sample_rate / 4; i < 3 * s.sample_rate / 4; ++i) {
      energy += double(back[i]) * back[i];
      crossings += (back[i - 1] < 0) != (back[i] < 0);
    }
    EXPECT_NEAR(std::sqrt(energy / (s.sample_rate / 2)), 8000 / std::sqrt(2.0), 800) << format;
    EXPECT_NEAR(crossings, 440, 8) << format;

    // Sentences of any length, appended after a new start, end on whole
    // bytes close to their length.
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    for (size_t len : {12345u, 1u, 0u, 777u}) {
      const size_t before = out.size();
      ASSERT_EQ(enc.encode(one_second.data(), len, &out), 0u);
      const size_t bits = (out.size() - before) * 8;
      EXPECT_EQ(bits % (s.bits * s.sample_unit), 0u) << format;
      EXPECT_NEAR(double(bits / s.bits), double(len) * s.sample_rate / kInputRate, s.sample_unit + 1.0)
          << format << " length " << len;
    }
  }
  std::vector<uint8_t> out;
  EXPECT_EQ(AudioEncoder().encode(one_second.data(), 10, &out), ENGINE_ERR_CODEC);
}

}  // namespace
}  // namespace espeak_engine
