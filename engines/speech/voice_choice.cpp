#include "engines/speech/voice_choice.h"

#include <cctype>

#include "engines/speech/backends/flite_backend.h"
#include "engines/speech/engine_params.h"

namespace tavn::speech {
namespace {

// Lower case, '_' read as '-' (xml:lang="en_US" is common enough).
std::string tag(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    c = c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string first_subtag(const std::string& language) {
  return language.substr(0, language.find('-'));
}

}  // namespace

std::string voice_language(std::string_view voice) {
  if (voice.substr(0, kFlitePrefix.size()) == kFlitePrefix) {
    std::vector<VoiceInfo> voices;
    FliteBackend::Get().ListVoices(&voices);
    for (const VoiceInfo& v : voices) {
      if (v.name == voice) return v.language;
    }
  }
  return tag(voice.substr(0, voice.find('+')));
}

const std::string& VoiceChooser::choose(std::string_view voice, std::string_view language) {
  if (voice.empty() && language.empty()) return connection_voice_;
  std::string key = std::string(voice) + '\n' + std::string(language);
  auto it = chosen_.find(key);
  if (it != chosen_.end()) return it->second;
  std::string chosen;
  if (!voice.empty() && valid_voice_name(voice) &&
      Backend::ForVoice(voice).CheckVoice(voice) == 0) {
    chosen = voice;
  } else if (!language.empty() &&
             first_subtag(tag(language)) != first_subtag(voice_language(connection_voice_))) {
    chosen = for_language(tag(language));
  }
  if (chosen.empty()) chosen = connection_voice_;
  return chosen_.emplace(std::move(key), std::move(chosen)).first->second;
}

std::string VoiceChooser::for_language(const std::string& language) {
  if (!listed_) {
    listed_ = true;
    std::vector<VoiceInfo> all;
    if (Backend::ListAllVoices(&all) == 0) {
      for (VoiceInfo& v : all) {
        if (v.name.substr(0, kFlitePrefix.size()) != kFlitePrefix) voices_.push_back(std::move(v));
      }
    }
  }
  std::string first = first_subtag(language);
  if (first == "zh") first = "cmn";  // libespeak-ng files Mandarin under its ISO 639-3 code
  for (const VoiceInfo& v : voices_) {
    if (tag(v.language) == language) return v.name;
  }
  for (const VoiceInfo& v : voices_) {
    if (tag(v.name) == first) return v.name;
  }
  for (const VoiceInfo& v : voices_) {
    if (first_subtag(tag(v.language)) == first) return v.name;
  }
  return "";
}

}  // namespace tavn::speech
