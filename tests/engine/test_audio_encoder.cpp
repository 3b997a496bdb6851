#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

// spandsp's headers after <cmath>: they define math helpers of their own.
#include <spandsp/telephony.h>
#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
#include <spandsp/g726.h>
#include <spandsp/oki_adpcm.h>

#include "engines/espeak/audio_encoder.h"
#include "engines/espeak/format_spec.h"
#include "engines/espeak/wave_header.h"

namespace espeak_engine {
namespace {

constexpr uint32_t kInputRate = 22050;
constexpr double kPi = 3.14159265358979323846;

struct FormatCase {
  uint32_t format;
  uint32_t rate, bits;
  Codec codec;
  uint16_t header_length;
};

const FormatCase kFormats[] = {
    {1, 8000, 8, Codec::kPcm8, 44},     {2, 16000, 8, Codec::kPcm8, 44},
    {3, 8000, 16, Codec::kPcm16, 44},   {4, 16000, 16, Codec::kPcm16, 44},
    {5, 11025, 8, Codec::kPcm8, 44},    {6, 11025, 16, Codec::kPcm16, 44},
    {7, 6000, 8, Codec::kPcm8, 44},     {8, 6000, 16, Codec::kPcm16, 44},
    {9, 16000, 8, Codec::kAlaw, 58},    {10, 16000, 8, Codec::kUlaw, 58},
    {11, 8000, 8, Codec::kAlaw, 58},    {12, 8000, 8, Codec::kUlaw, 58},
    {13, 11025, 8, Codec::kAlaw, 58},   {14, 11025, 8, Codec::kUlaw, 58},
    {15, 6000, 8, Codec::kAlaw, 58},    {16, 6000, 8, Codec::kUlaw, 58},
    {17, 8000, 4, Codec::kG726, 0},     {18, 6000, 4, Codec::kG726, 0},
    {19, 8000, 3, Codec::kG726, 0},     {20, 8000, 5, Codec::kG726, 0},
    {21, 6000, 4, Codec::kVox, 0},      {22, 8000, 4, Codec::kVox, 0},
};

TEST(FormatSpec, RowsOneToTwentyTwoAndTheDefault) {
  for (const FormatCase& c : kFormats) {
    FormatSpec s;
    ASSERT_TRUE(lookup_format(c.format, &s)) << c.format;
    EXPECT_EQ(s.format, c.format);
    EXPECT_EQ(s.sample_rate, c.rate) << c.format;
    EXPECT_EQ(s.bits, c.bits) << c.format;
    EXPECT_EQ(s.codec, c.codec) << c.format;
    EXPECT_EQ(s.header_length, c.header_length) << c.format;
    EXPECT_EQ(s.sample_unit * s.bits % 8, 0u) << c.format;
  }
  FormatSpec s;
  ASSERT_TRUE(lookup_format(0, &s));
  EXPECT_EQ(s.format, kDefaultFormat);
  for (uint32_t refused : {23u, 27u, 30u, 31u, 101u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(lookup_format(refused, &s)) << refused;
  }
}

uint32_t get32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }
uint16_t get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }

TEST(WaveHeader, LayoutsOfFortyFourAndFiftyEightBytes) {
  struct Case {
    uint32_t format;
    uint16_t tag, fmt_size, block_align;
    uint32_t data_at;
  } cases[] = {{4, 1, 16, 2, 36}, {7, 1, 16, 1, 36}, {11, 6, 18, 1, 50}, {16, 7, 18, 1, 50}};
  for (const Case& c : cases) {
    FormatSpec s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    uint8_t h[kMaxHeaderLength];
    std::memset(h, 0xAA, sizeof h);
    const size_t n = write_wave_header(s, h);
    ASSERT_EQ(n, s.header_length);
    EXPECT_EQ(std::memcmp(h, "RIFF", 4), 0);
    EXPECT_EQ(get32(h + 4), n - 8);
    EXPECT_EQ(std::memcmp(h + 8, "WAVEfmt ", 8), 0);
    EXPECT_EQ(get32(h + 16), c.fmt_size);
    EXPECT_EQ(get16(h + 20), c.tag);
    EXPECT_EQ(get16(h + 22), 1);
    EXPECT_EQ(get32(h + 24), s.sample_rate);
    EXPECT_EQ(get32(h + 28), s.sample_rate * c.block_align);
    EXPECT_EQ(get16(h + 32), c.block_align);
    EXPECT_EQ(get16(h + 34), s.bits);
    if (n == 58) {
      EXPECT_EQ(get16(h + 36), 0);  // cbSize
      EXPECT_EQ(std::memcmp(h + 38, "fact", 4), 0);
      EXPECT_EQ(get32(h + 42), 4u);
      EXPECT_EQ(get32(h + 46), 0u);
    }
    EXPECT_EQ(std::memcmp(h + c.data_at, "data", 4), 0);
    EXPECT_EQ(get32(h + c.data_at + 4), 0u);
  }
  FormatSpec raw;
  ASSERT_TRUE(lookup_format(19, &raw));
  uint8_t h[kMaxHeaderLength];
  EXPECT_EQ(write_wave_header(raw, h), 0u);
}

std::vector<int16_t> tone(size_t count, double hz, double amplitude) {
  std::vector<int16_t> v(count);
  for (size_t i = 0; i < count; ++i)
    v[i] = static_cast<int16_t>(amplitude * std::sin(2 * kPi * hz * i / kInputRate));
  return v;
}

// Decodes bytes of `s` back to linear samples with spandsp.
std::vector<int16_t> decode(const FormatSpec& s, const std::vector<uint8_t>& b) {
  std::vector<int16_t> out;
  switch (s.codec) {
    case Codec::kPcm8:
      for (uint8_t x : b) out.push_back(static_cast<int16_t>((x - 128) * 256));
      break;
    case Codec::kPcm16:
      for (size_t i = 0; i + 1 < b.size(); i += 2) out.push_back(static_cast<int16_t>(get16(&b[i])));
      break;
    case Codec::kAlaw:
      for (uint8_t x : b) out.push_back(alaw_to_linear(x));
      break;
    case Codec::kUlaw:
      for (uint8_t x : b) out.push_back(ulaw_to_linear(x));
      break;
    case Codec::kG726: {
      g726_state_t* d = g726_init(nullptr, static_cast<int>(s.bits * 8000), G726_ENCODING_LINEAR,
                                  G726_PACKING_RIGHT);
      out.resize(b.size() * 8 / s.bits);
      out.resize(g726_decode(d, out.data(), b.data(), static_cast<int>(b.size())));
      g726_free(d);
      break;
    }
    case Codec::kVox: {
      oki_adpcm_state_t* d = oki_adpcm_init(nullptr, 32000);
      out.resize(b.size() * 2);
      out.resize(oki_adpcm_decode(d, out.data(), b.data(), static_cast<int>(b.size())));
      oki_adpcm_free(d);
      break;
    }
  }
  return out;
}

double rms(const std::vector<int16_t>& v, size_t from, size_t to) {
  double sum = 0;
  for (size_t i = from; i < to; ++i) sum += double(v[i]) * v[i];
  return std::sqrt(sum / double(to - from));
}

int zero_crossings(const std::vector<int16_t>& v, size_t from, size_t to) {
  int n = 0;
  for (size_t i = from + 1; i < to; ++i) n += (v[i - 1] < 0) != (v[i] < 0);
  return n;
}

TEST(AudioEncoder, OneSecondGivesTheByteRateAndDecodesToTheTone) {
  const std::vector<int16_t> input = tone(kInputRate, 440, 8000);
  for (const FormatCase& c : kFormats) {
    FormatSpec s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    AudioEncoder enc;
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    std::vector<uint8_t> out = {1, 2, 3};  // appended after what is there
    ASSERT_EQ(enc.encode(input.data(), input.size(), &out), 0u) << c.format;
    ASSERT_EQ(out.size(), 3 + c.rate * c.bits / 8) << c.format;
    EXPECT_EQ(out[0], 1);
    out.erase(out.begin(), out.begin() + 3);

    const std::vector<int16_t> back = decode(s, out);
    ASSERT_EQ(back.size(), c.rate) << c.format;
    // The middle half: the tone's level (8000 / sqrt 2) and its 440 Hz.
    const size_t from = c.rate / 4, to = 3 * c.rate / 4;
    EXPECT_NEAR(rms(back, from, to), 8000 / std::sqrt(2.0), 8000 * 0.1) << c.format;
    EXPECT_NEAR(zero_crossings(back, from, to), 440, 8) << c.format;
  }
}

TEST(AudioEncoder, SentencesFillWholeBytesAndStartAgainAlike) {
  // Odd lengths: every sentence is padded to whole bytes of its format.
  const std::vector<int16_t> input = tone(12345, 300, 6000);
  for (const FormatCase& c : kFormats) {
    FormatSpec s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    AudioEncoder enc;
    std::vector<uint8_t> first, second;
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    for (size_t len : {size_t{12345}, size_t{1}, size_t{0}, size_t{777}}) {
      const size_t before = first.size();
      ASSERT_EQ(enc.encode(input.data(), len, &first), 0u);
      const size_t samples = (first.size() - before) * 8 / c.bits;
      EXPECT_EQ((first.size() - before) * 8 % c.bits, 0u) << c.format;
      EXPECT_EQ(samples % s.sample_unit, 0u) << c.format;
      EXPECT_NEAR(double(samples), double(len) * c.rate / kInputRate, s.sample_unit + 1.0)
          << c.format << " length " << len;
    }
    ASSERT_EQ(enc.start(s, kInputRate), 0u);  // a new request: fresh codec state
    for (size_t len : {size_t{12345}, size_t{1}, size_t{0}, size_t{777}})
      ASSERT_EQ(enc.encode(input.data(), len, &second), 0u);
    EXPECT_EQ(first, second) << c.format;
  }
}

TEST(AudioEncoder, RefusesUseBeforeStart) {
  AudioEncoder enc;
  std::vector<uint8_t> out;
  const int16_t s[2] = {1, 2};
  EXPECT_NE(enc.encode(s, 2, &out), 0u);
  FormatSpec spec;
  ASSERT_TRUE(lookup_format(3, &spec));
  EXPECT_NE(enc.start(spec, 0), 0u);
  EXPECT_NE(enc.encode(s, 2, &out), 0u);
  EXPECT_TRUE(out.empty());
}

}  // namespace
}  // namespace espeak_engine
