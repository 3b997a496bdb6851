#include "engines/speech/audio/output_format.h"

#include "engines/speech/audio/amr_encoder.h"
#include "synth/audio_format.h"

namespace tavn::speech {
namespace {

// Rows 23 to 30.  The rate comes from the row's name, not its sample_rate
// (rows 25 to 27 disagree with their names), bent to what the codec carries.
bool lookup_compressed(uint32_t format, OutputFormat* out) {
  OutputFormat s;
  s.format = format;
  s.bits = 0;
  if (format <= 25) {
    s.codec = Codec::kAmrNb;
    s.sample_rate = 8000;
    s.magic = kAmrNbMagic;
  } else if (format == 26) {
    s.codec = Codec::kAmrWb;
    s.sample_rate = 16000;
    s.magic = kAmrWbMagic;
  } else {
    static const uint32_t kRates[] = {8000, 8000, 11025, 16000};  // 27 to 30
    s.codec = Codec::kMp3;
    s.sample_rate = kRates[format - 27];
    s.kbps = s.sample_rate == 8000 ? 16 : s.sample_rate == 11025 ? 24 : 32;
  }
  *out = s;
  return true;
}

}  // namespace

bool lookup_format(uint32_t format, OutputFormat* out) {
  if (format == 0) format = kDefaultFormat;
  if (format > kLastFormat) return false;
  if (format > kLastTimedFormat) return lookup_compressed(format, out);
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
    case Codec::kMp3:  // not reached: rows 23 to 30 are set up above
    case Codec::kAmrNb:
    case Codec::kAmrWb:
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

}  // namespace tavn::speech
