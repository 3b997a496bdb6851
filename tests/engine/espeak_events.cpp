// Test helper: prints libespeak-ng's own sentence events for a text, as the
// espeak-ng command renders it (one synthesis of the whole text, with the
// pause after the last sentence):
//   sentence SECONDS      for every sentence start
//   end SECONDS           the length of the whole rendering
// Usage: espeak_events VOICE RATE TEXT
#include <espeak-ng/espeak_ng.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

long g_samples = 0;

int on_samples(short* samples, int count, espeak_EVENT* events) {
  if (samples != nullptr && count > 0) g_samples += count;
  for (; events->type != espeakEVENT_LIST_TERMINATED; ++events) {
    if (events->type == espeakEVENT_SENTENCE)
      std::printf("sentence %.6f\n", events->sample / double(espeak_ng_GetSampleRate()));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: espeak_events VOICE RATE TEXT\n");
    return 2;
  }
  espeak_ng_InitializePath(nullptr);
  if (espeak_ng_Initialize(nullptr) != ENS_OK ||
      espeak_ng_InitializeOutput(ENOUTPUT_MODE_SYNCHRONOUS, 0, nullptr) != ENS_OK ||
      espeak_ng_SetVoiceByName(argv[1]) != ENS_OK) {
    std::fprintf(stderr, "espeak_events: cannot start voice %s\n", argv[1]);
    return 1;
  }
  espeak_ng_SetParameter(espeakRATE, std::atoi(argv[2]), 0);
  espeak_SetSynthCallback(on_samples);
  const espeak_ng_STATUS s =
      espeak_ng_Synthesize(argv[3], std::strlen(argv[3]) + 1, 0, POS_CHARACTER, 0,
                           espeakCHARS_UTF8 | espeakENDPAUSE, nullptr, nullptr);
  std::printf("end %.6f\n", g_samples / double(espeak_ng_GetSampleRate()));
  espeak_ng_Terminate();
  return s == ENS_OK ? 0 : 1;
}
