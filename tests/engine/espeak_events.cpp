// Test helper: prints libespeak-ng's own sentence events for a text, as the
// espeak-ng command renders it (one synthesis of the whole text, at the
// default rate), as "sentence SECONDS" lines.  Usage: espeak_events VOICE TEXT
#include <espeak-ng/espeak_ng.h>

#include <cstdio>
#include <cstring>

static int on_samples(short*, int, espeak_EVENT* events) {
  for (; events->type != espeakEVENT_LIST_TERMINATED; ++events) {
    if (events->type == espeakEVENT_SENTENCE)
      std::printf("sentence %.6f\n", events->sample / double(espeak_ng_GetSampleRate()));
  }
  return 0;
}

int main(int argc, char** argv) {
  espeak_ng_InitializePath(nullptr);
  if (argc != 3 || espeak_ng_Initialize(nullptr) != ENS_OK ||
      espeak_ng_InitializeOutput(ENOUTPUT_MODE_SYNCHRONOUS, 0, nullptr) != ENS_OK ||
      espeak_ng_SetVoiceByName(argv[1]) != ENS_OK) {
    std::fprintf(stderr, "usage: espeak_events VOICE TEXT (an installed voice)\n");
    return 1;
  }
  espeak_ng_SetParameter(espeakRATE, 175, 0);
  espeak_SetSynthCallback(on_samples);
  const espeak_ng_STATUS s = espeak_ng_Synthesize(argv[2], std::strlen(argv[2]) + 1, 0, POS_CHARACTER, 0,
                                                  espeakCHARS_UTF8 | espeakENDPAUSE, nullptr, nullptr);
  espeak_ng_Terminate();
  return s == ENS_OK ? 0 : 1;
}
