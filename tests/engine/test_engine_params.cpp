#include <gtest/gtest.h>

#include <string>

#include "engines/speech/decimal_number.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"

namespace tavn::speech {
namespace {

// "voice rate pitch volume format" as read from `params`, or the failure's name.
std::string parsed(const char* params) {
  EngineSettings s;
  if (const uint32_t r = parse_engine_params(params, &s))
    return find_engine_code(r) != nullptr ? find_engine_code(r)->name : std::to_string(r);
  return s.voice + " " + std::to_string(s.rate) + " " + std::to_string(s.pitch) + " " + std::to_string(s.volume) + " " +
         std::to_string(s.format);
}

TEST(DecimalNumber, ReadsDigitsUpToTheLimitWithoutOverflow) {
  constexpr uint64_t kAll = UINT64_MAX;
  const struct {
    const char* text;
    uint64_t max;
    int64_t value;  // -1: refused
  } cases[] = {
      {"0", 10, 0},
      {"007", 10, 7},
      {"65535", 65535, 65535},
      {"65536", 65535, -1},
      {"", 10, -1},
      {"-1", 10, -1},
      {" 1", 10, -1},
      {"1e3", 5000, -1},
      {"18446744073709551615", kAll, -2},
      {"18446744073709551616", kAll, -1},
      {"99999999999999999999999", kAll, -1},
  };
  for (const auto& c : cases) {
    uint64_t v = 12345;
    const bool ok = read_decimal(c.text, c.max, &v);
    if (c.value == -2) {
      EXPECT_TRUE(ok && v == kAll) << c.text;
    } else {
      EXPECT_EQ(ok ? static_cast<int64_t>(v) : -1, c.value) << c.text;
      if (!ok) {
        EXPECT_EQ(v, 12345u) << c.text;
      }
    }
  }
}

TEST(EngineParams, ReadsKeysAndRefusesBadValues) {
  const struct {
    const char *params, *settings;
  } cases[] = {
      {"", "en 175 50 100 4"},
      {"VOICE=cmn; Rate=300 PITCH=0\tvolume=200,5=0022", "cmn 300 0 200 22"},
      {"voice=en-us+f3,rate=80,rate=450", "en-us+f3 450 50 100 4"},  // the last one counts
      {"speed=9,novalue,=3,,;15=3", "en 175 50 100 4"},              // not ours
      {"5=0", "en 175 50 100 4"},
      {"5=12,5=101", "en 175 50 100 12"},  // 101-104: the format stays
      {"voice=flite:kal16,5=30", "flite:kal16 175 50 100 30"},
      {"5=31", "ENGINE_ERR_FORMAT_REFUSED"},
      {"5=100", "ENGINE_ERR_FORMAT_REFUSED"},
      {"5=105", "ENGINE_ERR_FORMAT_REFUSED"},
      {"5=99999999999999999999", "ENGINE_ERR_FORMAT_REFUSED"},
      {"5=abc", "ENGINE_ERR_FORMAT_REFUSED"},
      {"rate=79", "ENGINE_ERR_BAD_VALUE"},
      {"rate=-100", "ENGINE_ERR_BAD_VALUE"},
      {"pitch=101", "ENGINE_ERR_BAD_VALUE"},
      {"volume=1x", "ENGINE_ERR_BAD_VALUE"},
      {"voice=", "ENGINE_ERR_UNKNOWN_VOICE"},
      {"voice=../../etc/passwd", "ENGINE_ERR_UNKNOWN_VOICE"},
      {"voice=aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "ENGINE_ERR_UNKNOWN_VOICE"},  // 41 characters
      {"rate=999,voice=/x", "ENGINE_ERR_BAD_VALUE"},                                    // the first bad item decides
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.params);
    EXPECT_EQ(parsed(c.params), c.settings) << c.params;
  }
}

TEST(EngineParams, ReadsTheMarkupModeAndAudioFolder) {
  const struct {
    const char* params;
    uint32_t result;
    MarkupMode markup;
    bool root_given;
    const char* root;
  } cases[] = {
      {"", 0, MarkupMode::kAuto, false, ""},
      {"markup=SSML,audio_root=/srv/prompts", 0, MarkupMode::kSsml, true, "/srv/prompts"},
      {"Markup=off;markup=Auto", 0, MarkupMode::kAuto, false, ""},
      {"audio_root=", 0, MarkupMode::kAuto, true, ""},  // none, whatever the environment says
      {"markup=xml", ENGINE_ERR_BAD_VALUE, MarkupMode::kAuto, false, ""},
      {"markup=", ENGINE_ERR_BAD_VALUE, MarkupMode::kAuto, false, ""},
      {"audio_root=prompts", ENGINE_ERR_BAD_VALUE, MarkupMode::kAuto, false, ""},  // relative
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.params);
    EngineSettings s;
    ASSERT_EQ(parse_engine_params(c.params, &s), c.result);
    if (c.result != 0) continue;
    EXPECT_EQ(s.markup, c.markup);
    EXPECT_EQ(s.audio_root_given, c.root_given);
    EXPECT_EQ(s.audio_root, c.root);
  }
}

TEST(EngineParams, ReadsTheServerKeys) {
  const struct {
    const char *params, *settings;
  } cases[] = {
      {"", "2000 15000 "},
      {"Connect_Timeout=1,TIMEOUT=600000,token_file=/etc/tavn/token", "1 600000 /etc/tavn/token"},
      {"connect_timeout=60000,timeout=1", "60000 1 "},
      {"connect_timeout=0", "ENGINE_ERR_BAD_VALUE"},
      {"connect_timeout=60001", "ENGINE_ERR_BAD_VALUE"},
      {"timeout=600001", "ENGINE_ERR_BAD_VALUE"},
      {"timeout=", "ENGINE_ERR_BAD_VALUE"},
      {"timeout=1s", "ENGINE_ERR_BAD_VALUE"},
      {"token_file=", "ENGINE_ERR_BAD_VALUE"},
  };
  for (const auto& c : cases) {
    EngineSettings s;
    const uint32_t r = parse_engine_params(c.params, &s);
    const std::string got =
        r != 0 ? find_engine_code(r)->name
               : std::to_string(s.connect_timeout_ms) + " " + std::to_string(s.timeout_ms) + " " + s.token_file;
    EXPECT_EQ(got, c.settings) << c.params;
  }
}

}  // namespace
}  // namespace tavn::speech
