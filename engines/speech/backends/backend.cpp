#include "engines/speech/backends/backend.h"

#include "engines/speech/backends/espeak_backend.h"
#include "engines/speech/backends/flite_backend.h"

namespace tavn::speech {

Backend& Backend::ForVoice(std::string_view voice) {
  if (voice.substr(0, kFlitePrefix.size()) == kFlitePrefix) return FliteBackend::Get();
  return EspeakBackend::Get();
}

uint32_t Backend::InitializeAll() { return EspeakBackend::Get().Initialize(); }

void Backend::TerminateAll() {
  FliteBackend::Get().Terminate();
  EspeakBackend::Get().Terminate();
}

// flite needs no start of its own, so libespeak-ng's decides.
bool Backend::Running() { return EspeakBackend::Get().SampleRate("") != 0; }

uint32_t Backend::ListAllVoices(std::vector<VoiceInfo>* out) {
  out->clear();
  if (uint32_t r = EspeakBackend::Get().ListVoices(out)) return r;
  return FliteBackend::Get().ListVoices(out);
}

}  // namespace tavn::speech
