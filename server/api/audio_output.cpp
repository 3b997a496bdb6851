#include "server/api/audio_output.h"

#include <strings.h>

#include <cstring>

#include "synth/audio_format.h"

namespace tavn::server {
namespace {

bool is_pcm(uint32_t row) { return row >= 1 && row <= 8; }
bool is_alaw(uint32_t row) { return row >= 9 && row <= 16 && row % 2 == 1; }
bool is_ulaw(uint32_t row) { return row >= 10 && row <= 16 && row % 2 == 0; }

bool same_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

size_t wave_header_length(uint32_t row) {
  if (is_pcm(row)) return 44;
  if (is_alaw(row) || is_ulaw(row)) return 58;
  return 0;
}

const char* media_type(const AudioOutput& out) {
  const uint32_t row = out.row;
  if (has_wave_header(out)) return "audio/wav";
  if (row == 12) return "audio/basic";
  if (is_pcm(row) && audio_format_table[row].bits_per_sample == 16) return "audio/pcm";
  if (row >= 23 && row <= 25) return "audio/amr";
  if (row == 26) return "audio/amr-wb";
  if (row >= 27 && row <= 30) return "audio/mpeg";
  return "application/octet-stream";
}

const char* file_extension(const AudioOutput& out) {
  const uint32_t row = out.row;
  if (has_wave_header(out)) return "wav";
  if (is_pcm(row)) return audio_format_table[row].bits_per_sample == 16 ? "pcm" : "raw";
  if (is_alaw(row)) return "al";
  if (is_ulaw(row)) return "ul";
  if (row >= 17 && row <= 20) return "g726";
  if (row == 21 || row == 22) return "vox";
  if (row >= 23 && row <= 25) return "amr";
  if (row == 26) return "awb";
  if (row >= 27 && row <= 30) return "mp3";
  return "bin";
}

bool find_format_row(std::string_view name, uint32_t* row) {
  if (!name.empty() && name.size() <= 2 &&
      name.find_first_not_of("0123456789") == std::string_view::npos) {
    const uint32_t n = name.size() == 1 ? name[0] - '0' : (name[0] - '0') * 10 + (name[1] - '0');
    if (n > kLastRow) return false;
    *row = n == 0 ? kDefaultRow : n;
    return true;
  }
  constexpr std::string_view kPrefix = "TTS_ADF_";
  for (uint32_t r = 0; r < kAudioFormatCount; ++r) {
    const std::string_view full = audio_format_table[r].name;
    if (same_ignoring_case(name, full) || same_ignoring_case(name, full.substr(kPrefix.size()))) {
      *row = r == 0 ? kDefaultRow : r;
      return true;
    }
  }
  return false;
}

}  // namespace tavn::server
