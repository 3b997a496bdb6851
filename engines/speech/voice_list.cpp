#include "engines/speech/voice_list.h"

#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "engines/speech/flite_synthesizer.h"
#include "engines/speech/synthesizer.h"

using namespace tavn::speech;

extern "C" uint32_t TTSListVoices(char* buffer, uint32_t size, uint32_t* needed) {
  if (needed == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
  try {
    std::vector<std::pair<std::string, std::string>> voices;
    if (uint32_t r = synth_list_voices(&voices)) return r;
    const std::string espeak_rate = std::to_string(synth_sample_rate());
    std::string text;
    for (const auto& [name, language] : voices)
      text += name + '\t' + language + '\t' + espeak_rate + '\n';
    size_t count = 0;
    const FliteVoiceInfo* flite = flite_voices(&count);
    for (size_t i = 0; i < count; ++i)
      text += std::string(flite[i].name) + '\t' + flite[i].language + '\t' +
              std::to_string(flite[i].sample_rate) + '\n';
    *needed = static_cast<uint32_t>(text.size() + 1);
    if (buffer == nullptr || size < *needed) return ENGINE_ERR_SIZE;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
}
