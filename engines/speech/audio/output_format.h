// How the engine produces each audio data format (engine parameter 5).
//
// Formats 1 to 30 are produced; 0 means the engine's default, format 4.
// For 1 to 22 sample rate and bits come from audio_format_table, so that the
// byte count of one second is sample_rate * bits / 8 exactly, which is how
// the front end turns bytes into time.  Rows 23 to 30 (AMR, MP3) have no bit
// rate in the table; they are coded at the rate their name gives where the
// codec carries it (AMR-NB only 8000 Hz, AMR-WB 16000 Hz, MP3 not 6000 Hz:
// see lookup_format).  Plain data: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_OUTPUT_FORMAT_H_
#define TAVN_ENGINES_SPEECH_AUDIO_OUTPUT_FORMAT_H_

#include <cstdint>

namespace tavn::speech {

enum class Codec {
  kPcm8,   // unsigned 8-bit linear
  kPcm16,  // signed 16-bit little-endian linear
  kAlaw,   // G.711 A-law
  kUlaw,   // G.711 mu-law
  kG726,   // G.726 ADPCM, `bits` per sample, packed as in RTP (RFC 3551)
  kVox,    // OKI (Dialogic) 4-bit ADPCM, high nibble first
  kMp3,    // MPEG audio layer III, constant bit rate (libmp3lame)
  kAmrNb,  // AMR narrowband, 8000 Hz (opencore-amrnb)
  kAmrWb,  // AMR wideband, 16000 Hz (vo-amrwbenc)
};

struct OutputFormat {
  uint32_t format = 0;       // row of audio_format_table
  uint32_t sample_rate = 0;  // Hz
  uint32_t bits = 0;         // bits per sample
  Codec codec = Codec::kPcm16;
  uint16_t wave_tag = 0;       // WAVE format tag in the header; 0 = no header
  uint16_t header_length = 0;  // 44 (PCM), 58 (A-law, mu-law, with a fact chunk) or 0
  uint32_t sample_unit = 1;    // a sentence's sample count is padded to a multiple
                               // of this, so that it fills whole bytes
  uint32_t kbps = 0;           // bit rate of the MP3 rows
  const char* magic = "";      // file magic the first piece carries instead of a
                               // header (AMR), not repeated in later pieces
};

constexpr uint32_t kDefaultFormat = 4;  // TTS_ADF_PCM16K16B1C
constexpr uint32_t kLastFormat = 30;    // TTS_ADF_MP316K1C

// Values the front end probes for itself: it then sets the format to 3, so a
// connect with one of them keeps the default format.
constexpr bool is_converter_format(uint32_t value) { return value >= 101 && value <= 104; }

// Fills `out` for format `format` (0 resolves to kDefaultFormat).  Returns
// false, leaving `out` alone, for every value above 30.
//   23 to 25 (AMR 6, 8, 11 kHz): AMR-NB, the only AMR rate below 16 kHz, 8000 Hz;
//   26 (AMR 16 kHz):             AMR-WB, 16000 Hz;
//   27 (MP3 6 kHz):              8000 Hz, the lowest rate MP3 carries, 16 kbit/s;
//   28, 29, 30 (MP3 8, 11, 16 kHz): 8000, 11025, 16000 Hz at 16, 24, 32 kbit/s.
bool lookup_format(uint32_t format, OutputFormat* out);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_OUTPUT_FORMAT_H_
