// How an HTTP answer presents each of the engine's audio formats (the rows
// 1 to 30 of audio_format_table): its media type, a file name extension,
// and whether the WAVE header the engine puts in front is kept.
//
// Pure functions of their arguments: safe from any thread.
#ifndef TAVN_SERVER_API_AUDIO_OUTPUT_H_
#define TAVN_SERVER_API_AUDIO_OUTPUT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavn::server {

constexpr uint32_t kFirstRow = 1, kLastRow = 30, kDefaultRow = 4;

struct AudioOutput {
  uint32_t row = kDefaultRow;  // engine audio format, 1..30
  bool raw = false;            // leave out the WAVE header (rows 1 to 16 have one)
};

// Media type of the answer's body:
//   rows 1-16 with their header        audio/wav
//   row 12 raw (mu-law, 8000 Hz)       audio/basic
//   rows 3, 4, 6, 8 raw (16-bit PCM)   audio/pcm (little-endian, the row's rate)
//   rows 23-25 (AMR-NB), 26 (AMR-WB)   audio/amr, audio/amr-wb
//   rows 27-30 (MP3)                   audio/mpeg
//   every other raw stream (8-bit PCM, A-law, mu-law at other rates,
//   G.726 and OKI ADPCM)               application/octet-stream
// Rows outside 1..30 give application/octet-stream.
const char* media_type(const AudioOutput& out);

// File name extension without the dot, for downloads: wav, pcm, ul, al,
// g726, vox, amr, awb, mp3 (raw 8-bit PCM: raw).
const char* file_extension(const AudioOutput& out);

// Bytes of the WAVE header the engine puts in front of every piece of
// `row`: 44 (PCM), 58 (A-law, mu-law) or 0.
size_t wave_header_length(uint32_t row);

// True when the body starts with the WAVE header: rows 1 to 16 unless raw.
inline bool has_wave_header(const AudioOutput& out) {
  return !out.raw && wave_header_length(out.row) != 0;
}

// The row a name stands for: the decimal row number "0" to "30" (0 is the
// default, row 4) or the row's name in the format table, with or without
// its "TTS_ADF_" prefix, in any case ("TTS_ADF_ULAW8K1C", "ulaw8k1c").
// False for anything else, `*row` untouched.
bool find_format_row(std::string_view name, uint32_t* row);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_AUDIO_OUTPUT_H_
