#include "engines/espeak/output_format.h"

#include "synth/audio_format.h"

namespace espeak_engine {

bool lookup_format(uint32_t format, OutputFormat* out) {
  if (format == 0) format = kDefaultFormat;
  if (format > kLastFormat) return false;
  const AudioFormat& row = audio_format_table[format];
  OutputFormat s;
  s.format = format;
  s.sample_rate = row.sample_rate;
  s.bits = row.bits_per_sample;
  if (format >= 21) {
    s.codec = Codec::kVox;
  } else if (format >= 17) {
    s.codec = Codec::kG726;
  } else if (row.format_tag == 6) {
    s.codec = Codec::kAlaw;
  } else if (row.format_tag == 7) {
    s.codec = Codec::kUlaw;
  } else {
    s.codec = row.bits_per_sample == 8 ? Codec::kPcm8 : Codec::kPcm16;
  }
  switch (s.codec) {
    case Codec::kPcm8:
    case Codec::kPcm16:
      s.wave_tag = 1;
      s.header_length = 44;
      break;
    case Codec::kAlaw:
    case Codec::kUlaw:
      s.wave_tag = static_cast<uint16_t>(row.format_tag);
      s.header_length = 58;
      break;
    case Codec::kG726:
    case Codec::kVox:
      // Raw ADPCM streams, as telephony systems store them: no header.
      s.wave_tag = 0;
      s.header_length = 0;
      break;
  }
  // Whole bytes: 8 samples for 3- and 5-bit codes, 2 for 4-bit codes.
  s.sample_unit = (s.bits % 8 == 0) ? 1 : (s.bits == 4 ? 2 : 8);
  *out = s;
  return true;
}

}  // namespace espeak_engine
