// The engine's audio data formats (values of engine parameter 5) and the
// bit rate that turns audio byte counts into playing time.
#ifndef TAVN_SYNTH_AUDIO_FORMAT_H_
#define TAVN_SYNTH_AUDIO_FORMAT_H_

#include <cstdint>

struct AudioFormat {
  char name[24];         // label only; nothing looks a row up by name
  uint32_t rate_code;    // 3 = 8 kHz, 4 = 16 kHz, 6 = 11 kHz, 8 = 6 kHz, 0 = default
  uint32_t sample_rate;  // Hz
  uint32_t bits_per_sample;
  uint32_t format_tag;  // WAVE format tag: 1 PCM, 6 A-law, 7 mu-law
};
static_assert(sizeof(AudioFormat) == 40, "a row is a 40-byte record");

constexpr uint32_t kAudioFormatCount = 31;
constexpr uint32_t kLastTimedFormat = 22;  // rows past this one have no bit rate

// Indexed by format value.  Rows 25 to 27 carry sample rates that disagree
// with their names, as the engine defines them; they never enter a
// computation.
extern const AudioFormat audio_format_table[kAudioFormatCount];

// sample_rate * bits_per_sample of row `fmt` (unsigned 32-bit product) for
// fmt <= 22; 0 for every larger value.  Never reads past row 22.
uint32_t audio_bit_rate(uint32_t fmt);

#endif  // TAVN_SYNTH_AUDIO_FORMAT_H_
