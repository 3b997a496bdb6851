#include "engines/speech/voice_list.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "engines/speech/backends/backend.h"
#include "engines/speech/engine_codes.h"

using namespace tavn::speech;

extern "C" uint32_t TTSListVoices(char* buffer, uint32_t size, uint32_t* needed) {
  if (needed == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
  try {
    std::vector<VoiceInfo> voices;
    if (uint32_t r = Backend::ListAllVoices(&voices)) return r;
    std::string text;
    for (const VoiceInfo& v : voices)
      text += v.name + '\t' + v.language + '\t' + std::to_string(v.sample_rate) + '\n';
    *needed = static_cast<uint32_t>(text.size() + 1);
    if (buffer == nullptr || size < *needed) return ENGINE_ERR_SIZE;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
}
