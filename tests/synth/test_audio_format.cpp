#include <gtest/gtest.h>

#include <cstring>

#include "synth/audio_format.h"

TEST(AudioFormat, BitRates) {
  struct Case { uint32_t fmt, bits_per_second; } cases[] = {
      {0, 0},      {1, 64000},  {4, 256000},     {11, 64000},     {17, 32000},
      {19, 24000}, {20, 40000}, {22, 32000},     {23, 0},         {26, 0},
      {30, 0},     {31, 0},     {0xffffffffu, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(audio_bit_rate(c.fmt), c.bits_per_second) << c.fmt;
}

TEST(AudioFormat, RowsKeepTheEngineData) {
  EXPECT_STREQ(audio_format_table[0].name, "TTS_ADF_DEFAULT");
  EXPECT_STREQ(audio_format_table[30].name, "TTS_ADF_MP316K1C");
  // Rows whose rate disagrees with their name stay as the engine has them.
  EXPECT_EQ(audio_format_table[26].sample_rate, 6000u);
  EXPECT_EQ(audio_format_table[27].sample_rate, 8000u);
  EXPECT_EQ(audio_format_table[12].format_tag, 7u);
  EXPECT_EQ(audio_format_table[15].format_tag, 6u);
  for (const AudioFormat& row : audio_format_table)
    EXPECT_LT(std::strlen(row.name), sizeof row.name) << row.name;
}
