// The values of markup attributes: prosody and emphasis, how a prosody
// scale changes the connection's settings, break lengths and phonemes.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "engines/speech/markup/break_length.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/phonemes.h"
#include "engines/speech/markup/prosody_values.h"

namespace tavn::speech::markup {
namespace {

// A scale as "rate pitch-in-semitones dB [silent]", rounded to hundredths.
std::string describe(const ProsodyScale& s) {
  char buf[96];
  std::snprintf(buf, sizeof buf, "%.2f %+.2f %+.2f%s", s.rate, 12 * std::log2(s.pitch), s.volume_db,
                s.silent ? " silent" : "");
  return buf;
}

TEST(MarkupValues, ProsodyValuesChangeTheEnclosingScale) {
  const struct {
    std::vector<std::pair<const char*, const char*>> changes;  // attribute, value; outermost first
    const char* scale;
  } cases[] = {
      {{}, "1.00 +0.00 +0.00"},
      {{{"rate", "x-slow"}, {"pitch", "x-low"}, {"volume", "x-soft"}}, "0.50 -6.00 -12.00"},
      {{{"rate", "x-fast"}, {"pitch", "x-high"}, {"volume", "x-loud"}}, "2.00 +6.00 +6.00"},
      {{{"rate", "slow"}, {"pitch", "low"}, {"volume", "soft"}}, "0.75 -3.00 -6.00"},
      {{{"rate", "fast"}, {"pitch", "high"}, {"volume", "loud"}}, "1.50 +3.00 +3.00"},
      // Relative values multiply (rate, pitch) or add (dB); keywords replace.
      {{{"rate", "50%"}, {"rate", "+20%"}}, "0.60 +0.00 +0.00"},
      {{{"rate", "1.5"}, {"rate", "-50%"}, {"rate", "medium"}}, "1.00 +0.00 +0.00"},
      {{{"pitch", "+2st"}, {"pitch", "-5st"}, {"pitch", "+12.5%"}}, "1.00 -0.96 +0.00"},
      {{{"volume", "+6dB"}, {"volume", "-2.5dB"}}, "1.00 +0.00 +3.50"},
      {{{"volume", "50%"}}, "1.00 +0.00 -6.02"},
      {{{"volume", "loud"}, {"volume", "default"}}, "1.00 +0.00 +0.00"},
      {{{"volume", "50"}, {"volume", "+50"}}, "1.00 +0.00 +0.00"},  // absolute level 50, then 100
      {{{"volume", "silent"}, {"volume", "+6dB"}}, "1.00 +0.00 +6.00 silent"},
      {{{"volume", "silent"}, {"volume", "medium"}}, "1.00 +0.00 +0.00"},
      {{{"volume", "0"}}, "1.00 +0.00 +0.00 silent"},
      {{{"volume", "-100%"}}, "1.00 +0.00 +0.00 silent"},
      // Values that cannot be read change nothing.
      {{{"rate", "0%"}, {"rate", "-100%"}, {"rate", "fast!"}, {"rate", "+5"}, {"rate", "nan"}}, "1.00 +0.00 +0.00"},
      {{{"pitch", "200Hz"}, {"pitch", "+3"}, {"pitch", "st"}, {"volume", "loud-ish"}, {"volume", "3st"}},
       "1.00 +0.00 +0.00"},
      // Emphasis adds up like prosody.
      {{{"emphasis", "strong"}}, "0.80 +3.00 +6.00"},
      {{{"emphasis", ""}, {"emphasis", "moderate"}}, "0.81 +3.00 +6.00"},
      {{{"emphasis", "reduced"}, {"emphasis", "none"}, {"emphasis", "odd"}}, "1.10 -1.50 -3.00"},
  };
  for (const auto& c : cases) {
    ProsodyScale s;
    std::string trace;
    for (const auto& [attribute, value] : c.changes) {
      const std::string a = attribute;
      if (a == "rate") apply_rate(value, &s);
      if (a == "pitch") apply_pitch(value, &s);
      if (a == "volume") apply_volume(value, &s);
      if (a == "emphasis") apply_emphasis(value, &s);
      trace += a + "=" + value + " ";
    }
    EXPECT_EQ(describe(s), c.scale) << trace;
  }
}

TEST(MarkupValues, ProsodyMapsOntoTheConnectionsSettings) {
  const Prosody base;  // 175 words/min, pitch 50, volume 100
  const struct {
    ProsodyScale scale;
    Prosody base;
    int rate, pitch, volume;
  } cases[] = {
      {{}, base, 175, 50, 100},
      {{0.5, 1.0, 0, false}, base, 88, 50, 100},
      {{2.0, std::exp2(3.0 / 12), 6.0206, false}, base, 350, 75, 200},
      {{4.0, std::exp2(-6.0 / 12), -6.0206, false}, base, 450, 0, 50},  // rate clamped
      {{0.1, std::exp2(12.0 / 12), 12, false}, base, 80, 100, 200},     // all clamped
      {{1.0, 1.0, 0, true}, base, 175, 50, 0},
      {{1.5, std::exp2(-1.0 / 12), -20, false}, {100, 10, 200}, 150, 2, 20},
      // Scales gone wild through deep nesting still give settings in range.
      {{HUGE_VAL, 0.0, NAN, false}, base, 450, 0, 0},
      {{0.0, HUGE_VAL, -HUGE_VAL, false}, base, 80, 100, 0},
  };
  for (const auto& c : cases) {
    const Prosody p = apply_prosody(c.base, c.scale);
    EXPECT_EQ(p.rate, c.rate) << describe(c.scale);
    EXPECT_EQ(p.pitch, c.pitch) << describe(c.scale);
    EXPECT_EQ(p.volume, c.volume) << describe(c.scale);
  }
}

TEST(MarkupValues, BreakLengths) {
  const struct {
    const char *time, *strength;
    uint32_t ms;
  } cases[] = {
      {nullptr, nullptr, 400},     {nullptr, "none", 0},          {nullptr, "x-weak", 100},
      {nullptr, "weak", 250},      {nullptr, "medium", 400},      {nullptr, "strong", 750},
      {nullptr, "x-strong", 1250}, {"250ms", "x-strong", 250},    {" 1.5 s ", nullptr, 1500},
      {"0.0004s", nullptr, 0},     {"12s", nullptr, kMaxBreakMs}, {"1e9ms", nullptr, kMaxBreakMs},
      {"-1s", "weak", 250},        {"5", nullptr, 400},           {"5min", nullptr, 400},
      {"", "loud", 400},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(break_length_ms(c.time, c.strength), c.ms)
        << (c.time ? c.time : "-") << " " << (c.strength ? c.strength : "-");
  }
}

TEST(MarkupValues, PhonemesInLibespeakNotation) {
  const struct {
    const char *alphabet, *ph, *espeak;  // nullptr: not usable
  } cases[] = {
      {"ipa", "h\xC9\x99\xCB\x88lo\xCA\x8A", "h@'loU"},               // həˈloʊ
      {"", "\xCB\x88t\xCA\x83\xC9\x9C\xCB\x90t\xCA\x83", "'tS3:tS"},  // ˈtʃɜːtʃ
      {"ipa",
       "d\xCD\xA1\xCA\x92\xC9\x92"
       "b. \xCB\x8C\xCE\xB8\xC9\xAA\xC5\x8B",
       "dZ0b ,TIN"},  // d͡ʒɒb. ˌθɪŋ
      {"ipa", "\xC9\x99\xCA\x8A a\xC9\xAA e\xC9\xAA \xC9\x94\xC9\xAA", "oU aI eI OI"},
      {"ipa", "k\xC9\xAA\xC9\x99\xCC\x83", nullptr},  // a nasal tilde: no counterpart
      {"ipa", "\xCB\x88\xCB\x90", nullptr},           // marks only
      {"x-espeak", " t@m'A:toU ", "t@m'A:toU"},
      {"espeak", "a]]b", nullptr},
      {"x-espeak", "caf\xC3\xA9", nullptr},
      {"x-sampa", "t@", nullptr},
      {"ipa", "", nullptr},
  };
  for (const auto& c : cases) {
    std::string out;
    const bool ok = espeak_phonemes(c.alphabet, c.ph, &out);
    EXPECT_EQ(ok, c.espeak != nullptr) << c.ph;
    if (ok && c.espeak != nullptr) {
      EXPECT_EQ(out, c.espeak) << c.ph;
    }
  }
  std::string out;
  EXPECT_FALSE(espeak_phonemes("ipa", std::string(kMaxPhonemeBytes + 1, 'a'), &out));
}

}  // namespace
}  // namespace tavn::speech::markup
