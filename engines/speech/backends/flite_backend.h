// The flite back end: the voices of Debian's libflite, named "flite:NAME" so
// that they can never be taken for a libespeak-ng voice ("en-us").
//
// Voices are registered once, on first use, and stay registered until
// Terminate().  A registered voice is only read while it speaks: each piece
// gets an utterance of its own, and the prosody goes into that utterance's
// features, never into the shared voice.  So any number of threads may
// speak at once, with the same voice or different ones; only registering
// and unregistering take the back end's lock exclusively.  All members may
// be called from any thread.
#ifndef TAVN_ENGINES_SPEECH_BACKENDS_FLITE_BACKEND_H_
#define TAVN_ENGINES_SPEECH_BACKENDS_FLITE_BACKEND_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "engines/speech/backends/backend.h"

namespace tavn::speech {

constexpr std::string_view kFlitePrefix = "flite:";

class FliteBackend final : public Backend {
 public:
  // The one instance; it lives for the process.
  static FliteBackend& Get();

  // Unregisters every voice (freeing them); later use registers them again.
  // Waits for pieces being spoken to finish.
  void Terminate();

  // Registers `voice` if needed.  Returns 0 or ENGINE_ERR_UNKNOWN_VOICE.
  uint32_t CheckVoice(std::string_view voice) override;

  // The voice's own rate (8000 or 16000 Hz); 0 when there is no such voice.
  uint32_t SampleRate(std::string_view voice) override;

  // Best: flite's synthesis costs ten times what the best filter does.
  Resampling resampling() const override { return Resampling::kBest; }

  // flite takes no phonemes: false.
  bool PhonemeText(std::string_view, std::string*) const override { return false; }

  // Rate becomes flite's duration stretch (175 words per minute = the
  // voice's own pace), pitch shifts the voice's mean F0 (50 = unchanged, 0
  // and 100 = down and up by half an octave) and volume scales the samples
  // (100 = unchanged, clipped).  Each utterance starts and ends with
  // flite's pause; a piece that does not start (end) its sentence loses the
  // quiet part of it but 20 ms.  Results as Backend::Speak, never
  // ENGINE_ERR_NOT_INITIALIZED.
  uint32_t Speak(std::string_view voice, std::string_view text, const Prosody& prosody,
                 std::vector<int16_t>* out) override;

  // The five voices in a fixed order, whether or not their libraries are
  // installed.  Returns 0 or ENGINE_ERR_NO_MEMORY.
  uint32_t ListVoices(std::vector<VoiceInfo>* out) override;

 private:
  FliteBackend() = default;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_BACKENDS_FLITE_BACKEND_H_
