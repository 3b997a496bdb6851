#include "server/api/voice_catalog.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "synth/audio_format.h"

namespace tavn::server {

std::vector<VoiceEntry> parse_voice_list(std::string_view listing) {
  std::vector<VoiceEntry> voices;
  while (!listing.empty()) {
    const size_t nl = std::min(listing.find('\n'), listing.size());
    const std::string_view line = listing.substr(0, nl);
    listing.remove_prefix(std::min(nl + 1, listing.size()));
    const size_t tab1 = line.find('\t');
    const size_t tab2 = tab1 == std::string_view::npos ? tab1 : line.find('\t', tab1 + 1);
    if (tab2 == std::string_view::npos || tab1 == 0) continue;
    const std::string_view rate = line.substr(tab2 + 1);
    if (rate.empty() || rate.size() > 6 ||
        rate.find_first_not_of("0123456789") != std::string_view::npos)
      continue;
    VoiceEntry v;
    v.name = line.substr(0, tab1);
    v.language = line.substr(tab1 + 1, tab2 - tab1 - 1);
    v.sample_rate = static_cast<uint32_t>(std::stoul(std::string(rate)));
    v.backend = v.name.rfind("flite:", 0) == 0 ? "flite" : "espeak-ng";
    voices.push_back(std::move(v));
  }
  return voices;
}

VoiceNames voice_names(const std::vector<VoiceEntry>& voices) {
  VoiceNames names;
  for (const VoiceEntry& v : voices) names.insert(v.name);
  return names;
}

std::string voices_json(const std::vector<VoiceEntry>& voices) {
  nlohmann::json list = nlohmann::json::array();
  for (const VoiceEntry& v : voices) {
    list.push_back({{"name", v.name},
                    {"language", v.language},
                    {"sample_rate", v.sample_rate},
                    {"backend", v.backend}});
  }
  nlohmann::json formats = nlohmann::json::array();
  for (uint32_t row = kFirstRow; row <= kLastRow; ++row) {
    const AudioOutput out{row, false};
    formats.push_back(
        {{"row", row},
         {"name", std::string(audio_format_table[row].name).substr(8)},  // no TTS_ADF_
         {"media_type", media_type(out)},
         {"extension", file_extension(out)}});
  }
  return nlohmann::json{{"voices", std::move(list)}, {"formats", std::move(formats)}}.dump(
      -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace tavn::server
