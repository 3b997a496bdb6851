#include <gtest/gtest.h>

#include "synth/audio_format.h"

TEST(AudioFormat, BitRates) {
  struct Case {
    uint32_t fmt, bits_per_second;
  } cases[] = {
      {0, 0},      {1, 64000}, {4, 256000}, {11, 64000}, {17, 32000}, {19, 24000},      {20, 40000},
      {22, 32000}, {23, 0},    {26, 0},     {30, 0},     {31, 0},     {0xffffffffu, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fmt);
    EXPECT_EQ(audio_bit_rate(c.fmt), c.bits_per_second) << c.fmt;
  }
}
