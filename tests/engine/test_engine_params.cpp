#include <gtest/gtest.h>

#include "engines/espeak/engine_codes.h"
#include "engines/espeak/engine_params.h"

namespace espeak_engine {
namespace {

TEST(EngineParams, ReadsKeysAndRefusesBadValues) {
  const struct {
    const char* params;
    uint32_t result;
    const char* voice = "en";
    int rate = 175, pitch = 50, volume = 100;
    uint32_t format = 4;
  } cases[] = {
      {"", 0, "en", 175, 50, 100, 4},
      {"VOICE=cmn; Rate=300 PITCH=0\tvolume=200,5=0022", 0, "cmn", 300, 0, 200, 22},
      {"voice=en-us+f3,rate=80,rate=450", 0, "en-us+f3", 450, 50, 100, 4},  // last one counts
      {"speed=9,novalue,=3,,;15=3", 0, "en", 175, 50, 100, 4},               // not ours
      {"5=0", 0, "en", 175, 50, 100, 4},
      {"5=12,5=101", 0, "en", 175, 50, 100, 12},  // 101-104: the format stays
      {"5=23", ENGINE_ERR_FORMAT_REFUSED},
      {"5=100", ENGINE_ERR_FORMAT_REFUSED},
      {"5=105", ENGINE_ERR_FORMAT_REFUSED},
      {"5=99999999999999999999", ENGINE_ERR_FORMAT_REFUSED},
      {"5=abc", ENGINE_ERR_FORMAT_REFUSED},
      {"rate=79", ENGINE_ERR_BAD_VALUE},
      {"rate=-100", ENGINE_ERR_BAD_VALUE},
      {"pitch=101", ENGINE_ERR_BAD_VALUE},
      {"volume=1x", ENGINE_ERR_BAD_VALUE},
      {"voice=", ENGINE_ERR_UNKNOWN_VOICE},
      {"voice=../../etc/passwd", ENGINE_ERR_UNKNOWN_VOICE},
      {"voice=aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", ENGINE_ERR_UNKNOWN_VOICE},
      {"rate=999,voice=/x", ENGINE_ERR_BAD_VALUE},  // the first bad item decides
  };
  for (const auto& c : cases) {
    EngineSettings s;
    EXPECT_EQ(parse_engine_params(c.params, &s), c.result) << c.params;
    if (c.result != 0) continue;
    EXPECT_EQ(s.voice, c.voice) << c.params;
    EXPECT_EQ(s.rate, c.rate) << c.params;
    EXPECT_EQ(s.pitch, c.pitch) << c.params;
    EXPECT_EQ(s.volume, c.volume) << c.params;
    EXPECT_EQ(s.format, c.format) << c.params;
  }
}

}  // namespace
}  // namespace espeak_engine
