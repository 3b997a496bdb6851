#include <gtest/gtest.h>

#include <string>

#include "engines/espeak/engine_codes.h"
#include "engines/espeak/engine_params.h"

namespace espeak_engine {
namespace {

struct ParamCase {
  const char* params;
  uint32_t result;
  const char* voice;
  int rate, pitch, volume;
  uint32_t format;
};

TEST(EngineParams, ReadsKeysAndRefusesBadValues) {
  constexpr uint32_t OK = 0;
  const ParamCase cases[] = {
      {"", OK, "en", 175, 50, 100, 4},
      {"voice=en,rate=170,5=4", OK, "en", 170, 50, 100, 4},
      {"VOICE=cmn; Rate=300 PITCH=0\tvolume=200", OK, "cmn", 300, 0, 200, 4},
      {"voice=en-us+f3", OK, "en-us+f3", 175, 50, 100, 4},
      {"rate=80,rate=450", OK, "en", 450, 50, 100, 4},  // the last one counts
      {"speed=9,colour=blue,novalue,=3,,;", OK, "en", 175, 50, 100, 4},  // ignored
      {"5=0", OK, "en", 175, 50, 100, 4},
      {"5=1", OK, "en", 175, 50, 100, 1},
      {"5=0022", OK, "en", 175, 50, 100, 22},
      {"5=12,5=101", OK, "en", 175, 50, 100, 12},  // 101-104: the format stays
      {"5=104", OK, "en", 175, 50, 100, 4},
      {"15=3", OK, "en", 175, 50, 100, 4},  // another key
      {"5=23", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=30", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=100", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=105", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=99999999999999999999", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=abc", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"5=", ENGINE_ERR_FORMAT_REFUSED, "en", 175, 50, 100, 4},
      {"rate=79", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"rate=451", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"rate=-100", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"pitch=101", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"volume=201", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"volume=1x", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},
      {"voice=", ENGINE_ERR_UNKNOWN_VOICE, "en", 175, 50, 100, 4},
      {"voice=../../etc/passwd", ENGINE_ERR_UNKNOWN_VOICE, "en", 175, 50, 100, 4},
      {"voice=aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", ENGINE_ERR_UNKNOWN_VOICE, "en", 175, 50,
       100, 4},
      {"rate=999,voice=/x", ENGINE_ERR_BAD_VALUE, "en", 175, 50, 100, 4},  // first bad item
  };
  for (const ParamCase& c : cases) {
    EngineSettings s;
    EXPECT_EQ(parse_engine_params(c.params, &s), c.result) << c.params;
    if (c.result != OK) continue;
    EXPECT_EQ(s.voice, c.voice) << c.params;
    EXPECT_EQ(s.rate, c.rate) << c.params;
    EXPECT_EQ(s.pitch, c.pitch) << c.params;
    EXPECT_EQ(s.volume, c.volume) << c.params;
    EXPECT_EQ(s.format, c.format) << c.params;
  }
}

TEST(EngineCodes, EveryCodeHasAUniqueNameAndReason) {
  for (const EngineCode& a : kEngineCodes) {
    EXPECT_EQ(a.code & 0xFFFF0000u, 0x80660000u) << a.name;
    EXPECT_EQ(find_engine_code(a.code), &a) << a.name;
    EXPECT_STRNE(a.reason, "") << a.name;
    for (const EngineCode& b : kEngineCodes) {
      if (&a != &b) {
        EXPECT_NE(a.code, b.code) << a.name << " " << b.name;
      }
    }
  }
  EXPECT_EQ(find_engine_code(0), nullptr);
  EXPECT_EQ(find_engine_code(0x80650301u), nullptr);
}

}  // namespace
}  // namespace espeak_engine
