#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "engines/speech/audio/audio_encoder.h"
#include "engines/speech/audio/output_format.h"
#include "engines/speech/engine_codes.h"
#include "synth/audio_format.h"

#include <soxr.h>

// spandsp's headers after <cmath>: they define math helpers of their own.
#include <spandsp/telephony.h>  // first: the other spandsp headers use its types

#include <spandsp/bit_operations.h>
#include <spandsp/g711.h>
#include <spandsp/g726.h>
#include <spandsp/oki_adpcm.h>

namespace tavn::speech {
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
  for (uint32_t format = 1; format <= kLastTimedFormat; ++format) {
    SCOPED_TRACE(format);
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

// The encoder hands the resampler fixed blocks and ends a cubic-interpolated
// sentence with a few zeros instead of the flush; each sentence must still come
// out exactly as libsoxr resamples it alone in one call, length included.
TEST(AudioEncoder, ResampledSentencesMatchTheResamplerInOneCall) {
  std::vector<int16_t> speech(30000);  // a gliding tone with a loud start
  for (size_t i = 0; i < speech.size(); ++i)
    speech[i] = static_cast<int16_t>((i < 500 ? 30000 : 9000) * std::sin(1e-5 * double(i) * i));
  const struct {
    uint32_t input_rate, format;
    Resampling resampling;
    unsigned long recipe;
  } cases[] = {
      {22050, 4, Resampling::kQuick, SOXR_QQ}, {22050, 3, Resampling::kQuick, SOXR_MQ},
      {22050, 6, Resampling::kBest, SOXR_HQ},  {16000, 6, Resampling::kBest, SOXR_HQ},
      {8000, 4, Resampling::kBest, SOXR_HQ},   {8000, 4, Resampling::kQuick, SOXR_QQ},
  };
  soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
  io.flags = SOXR_NO_DITHER;  // as the encoder resamples
  for (const auto& c : cases) {
    OutputFormat s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    AudioEncoder enc;
    ASSERT_EQ(enc.start(s, c.input_rate, c.resampling), 0u);
    for (size_t len : {4097u, 0u, 1u, 3u, 320u, 4096u, 30000u, 12345u}) {
      SCOPED_TRACE(testing::Message() << c.input_rate << " Hz to row " << c.format << ", " << len << " samples");
      std::vector<int16_t> want(len * s.sample_rate / c.input_rate + 64);
      size_t want_len = 0;
      const soxr_quality_spec_t quality = soxr_quality_spec(c.recipe, 0);
      ASSERT_EQ(soxr_oneshot(c.input_rate, s.sample_rate, 1, speech.data(), len, nullptr, want.data(), want.size(),
                             &want_len, &io, &quality, nullptr),
                nullptr);
      want.resize(want_len);

      std::vector<uint8_t> out;
      ASSERT_EQ(enc.encode(speech.data(), len, &out), 0u);
      ASSERT_EQ(out.size(), 2 * want_len);
      std::vector<int16_t> got(want_len);
      for (size_t i = 0; i < want_len; ++i) got[i] = static_cast<int16_t>(out[2 * i] | out[2 * i + 1] << 8);
      EXPECT_EQ(got, want);
    }
  }
}

// A marked-up text mixes rates in one stream: speech at each voice's rate,
// exact silence for breaks, recordings streamed in parts.  Each call gives
// what an encoder started at that call's rate gives, silence is exact and
// decodes to zeros, and a recording streamed in odd parts comes out as
// libsoxr resamples it in one call (equal rates: the very samples).
TEST(AudioEncoder, MixedRatesSilenceAndStreamsFormOneStream) {
  std::vector<int16_t> speech(20000);
  for (size_t i = 0; i < speech.size(); ++i) speech[i] = static_cast<int16_t>(9000 * std::sin(1e-5 * double(i) * i));
  soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
  io.flags = SOXR_NO_DITHER;
  const soxr_quality_spec_t hq = soxr_quality_spec(SOXR_HQ, 0);
  for (uint32_t format : {4u, 1u, 11u, 19u, 21u}) {
    SCOPED_TRACE(format);
    OutputFormat s;
    ASSERT_TRUE(lookup_format(format, &s));
    const bool adpcm = s.codec == Codec::kG726 || s.codec == Codec::kVox;
    const auto bytes_of = [&](size_t samples) {
      return (samples + s.sample_unit - 1) / s.sample_unit * s.sample_unit * s.bits / 8;
    };
    AudioEncoder mixed;
    ASSERT_EQ(mixed.start(s, 22050, Resampling::kQuick), 0u);
    std::vector<uint8_t> out, want;
    for (const auto& [rate, resampling] : {std::pair{8000u, Resampling::kBest}, std::pair{22050u, Resampling::kQuick},
                                           std::pair{16000u, Resampling::kBest}}) {
      AudioEncoder alone;
      ASSERT_EQ(alone.start(s, rate, resampling), 0u);
      out.clear();
      want.clear();
      ASSERT_EQ(mixed.encode(speech.data(), 7777, rate, resampling, &out), 0u);
      ASSERT_EQ(alone.encode(speech.data(), 7777, &want), 0u);
      EXPECT_EQ(out.size(), want.size()) << rate;
      if (!adpcm) {
        EXPECT_EQ(out, want) << rate;  // (the ADPCM state runs on from the call before)
      }
    }
    for (size_t n : {0u, 1u, 4096u, 4097u, 10u * s.sample_rate}) {
      out.clear();
      ASSERT_EQ(mixed.encode_silence(n, &out), 0u);
      ASSERT_EQ(out.size(), bytes_of(n)) << n;
      if (!adpcm) {
        for (int16_t v : decode(s, out)) ASSERT_LE(std::abs(v), 8) << n;  // A-law has no zero: +-8
      }
    }
    for (uint32_t rate : {s.sample_rate, 44100u}) {
      SCOPED_TRACE(rate);
      std::vector<int16_t> whole(speech.size() * s.sample_rate / rate + 64);
      size_t whole_len = speech.size();
      if (rate == s.sample_rate) {
        std::copy(speech.begin(), speech.end(), whole.begin());
      } else {
        ASSERT_EQ(soxr_oneshot(rate, s.sample_rate, 1, speech.data(), speech.size(), nullptr, whole.data(),
                               whole.size(), &whole_len, &io, &hq, nullptr),
                  nullptr);
      }
      whole.resize(whole_len);
      AudioEncoder one;
      ASSERT_EQ(one.start(s, rate), 0u);
      want.clear();
      ASSERT_EQ(one.encode(whole.data(), whole.size(), s.sample_rate, Resampling::kBest, &want), 0u);

      out.clear();
      ASSERT_EQ(mixed.begin_stream(rate, Resampling::kBest), 0u);
      AudioEncoder fresh;  // the same stream in a fresh encoder, for the ADPCM state
      ASSERT_EQ(fresh.start(s, rate), 0u);
      ASSERT_EQ(fresh.begin_stream(rate, Resampling::kBest), 0u);
      size_t at = 0;
      for (size_t part : {size_t{1001}, size_t{1}, size_t{4097}, size_t{3}, SIZE_MAX}) {  // the last: the rest
        const size_t before = out.size();
        ASSERT_EQ(fresh.stream(speech.data() + at, std::min(part, speech.size() - at), &out), 0u);
        EXPECT_EQ((out.size() - before) * 8 % (s.bits * s.sample_unit), 0u) << "whole bytes";
        at += std::min(part, speech.size() - at);
      }
      ASSERT_EQ(fresh.end_stream(&out), 0u);
      ASSERT_EQ(out.size(), want.size());
      size_t first = 0;
      while (first < out.size() && out[first] == want[first]) ++first;
      EXPECT_EQ(first, out.size());
      std::vector<uint8_t> again;
      ASSERT_EQ(mixed.begin_stream(rate, Resampling::kBest), 0u);
      ASSERT_EQ(mixed.stream(speech.data(), speech.size(), &again), 0u);
      ASSERT_EQ(mixed.end_stream(&again), 0u);
      EXPECT_EQ(again.size(), want.size());
    }
  }
}

// Silence goes through the MP3 and AMR coders too (which may work in their
// input), as many frames as its length needs.
TEST(AudioEncoder, SilenceFillsCompressedFrames) {
  const struct {
    uint32_t format, frame_samples, frame_bytes;
  } cases[] = {{24, 160, 32}, {26, 320, 61}, {30, 576, 144}};
  for (const auto& c : cases) {
    OutputFormat s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    AudioEncoder enc;
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    std::vector<uint8_t> out;
    ASSERT_EQ(enc.encode_silence(10 * s.sample_rate, &out), 0u) << c.format;
    ASSERT_EQ(enc.finish(&out), 0u) << c.format;
    const double frames = 10.0 * s.sample_rate / c.frame_samples;
    EXPECT_GE(out.size() / c.frame_bytes, frames) << c.format;
    EXPECT_LE(out.size() / c.frame_bytes, frames + 4) << c.format;
  }
}

// Rows 23 to 30: the coders keep what does not fill a frame from one
// sentence to the next and give it out at finish(), so a stream of odd-sized
// sentences is whole frames of the row's codec, as many as its length needs.
TEST(AudioEncoder, CompressedRowsGiveWholeFramesAcrossSentences) {
  const std::vector<int16_t> tone = [] {
    std::vector<int16_t> v(kInputRate);
    for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<int16_t>(8000 * std::sin(0.125 * i));
    return v;
  }();
  const struct {
    uint32_t format, rate, frame_samples, frame_bytes;
    uint8_t first_byte;  // AMR frame header (mode, quality bit); MP3 sync byte
  } cases[] = {
      {23, 8000, 160, 32, 0x3C},  {24, 8000, 160, 32, 0x3C}, {26, 16000, 320, 61, 0x44},
      {27, 8000, 576, 144, 0xFF}, {29, 11025, 576, 0, 0xFF}, {30, 16000, 576, 144, 0xFF},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    OutputFormat s;
    ASSERT_TRUE(lookup_format(c.format, &s));
    ASSERT_EQ(s.sample_rate, c.rate) << c.format;
    AudioEncoder enc;
    ASSERT_EQ(enc.start(s, kInputRate), 0u);
    std::vector<uint8_t> out;
    size_t samples = 0;
    for (size_t len : {12345u, 1u, 0u, 7777u, 22050u}) {
      ASSERT_EQ(enc.encode(tone.data(), len, &out), 0u) << c.format;
      samples += len;
    }
    ASSERT_EQ(enc.finish(&out), 0u) << c.format;
    ASSERT_GT(out.size(), 0u);
    EXPECT_EQ(out[0], c.first_byte) << c.format;
    const double frames = double(samples) * c.rate / kInputRate / c.frame_samples;
    if (c.frame_bytes == 0) continue;  // 11025 Hz MP3 frames vary by a padding byte
    ASSERT_EQ(out.size() % c.frame_bytes, 0u) << c.format;
    // AMR: the frames that hold the samples; MP3 adds lame's delay and flush.
    const double extra = s.codec == Codec::kMp3 ? 4 : 1;
    EXPECT_GE(out.size() / c.frame_bytes, frames) << c.format;
    EXPECT_LE(out.size() / c.frame_bytes, frames + extra) << c.format;
  }
}

}  // namespace
}  // namespace tavn::speech
