// The installed voices, read from the engine's TTSListVoices text, as the
// speaking routes check them and as GET /v1/voices answers:
//
//   {"voices": [{"name": "en-us", "language": "en-us", "sample_rate": 22050,
//                "backend": "espeak-ng"}, ...,
//               {"name": "flite:slt", ..., "backend": "flite"}],
//    "formats": [{"row": 1, "name": "PCM8K8B1C", "media_type": "audio/wav",
//                 "extension": "wav"}, ... every row 1 to 30]}
//
// Pure functions: safe from any thread.
#ifndef TAVN_SERVER_API_VOICE_CATALOG_H_
#define TAVN_SERVER_API_VOICE_CATALOG_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "server/api/speech_request.h"

namespace tavn::server {

struct VoiceEntry {
  std::string name;
  std::string language;
  uint32_t sample_rate = 0;
  std::string backend;  // "flite" for "flite:..." names, else "espeak-ng"
};

// Reads "NAME\tLANGUAGE\tSAMPLE_RATE\n" lines (TTSListVoices); a line
// without three fields or with a rate that is not a number is skipped.
std::vector<VoiceEntry> parse_voice_list(std::string_view listing);

VoiceNames voice_names(const std::vector<VoiceEntry>& voices);

// The GET /v1/voices answer above.
std::string voices_json(const std::vector<VoiceEntry>& voices);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_VOICE_CATALOG_H_
