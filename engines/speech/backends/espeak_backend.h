// The libespeak-ng back end: the voices of Debian's libespeak-ng, named by
// language or voice file with an optional variant ("en", "en-us", "en+f3").
//
// libespeak-ng keeps its state in globals and is not thread-safe, so every
// member takes one process-wide lock.  The lock is held for one piece of
// text at a time, never for a whole request, so requests on several
// connections interleave sentence by sentence.  All members may be called
// from any thread, also while the process exits.
#ifndef TAVN_ENGINES_SPEECH_BACKENDS_ESPEAK_BACKEND_H_
#define TAVN_ENGINES_SPEECH_BACKENDS_ESPEAK_BACKEND_H_

#include <cstdint>
#include <string_view>
#include <vector>

#include "engines/speech/backends/backend.h"

namespace tavn::speech {

// Environment variable naming the voice data directory (the folder that
// holds "phontab"); unset or empty: libespeak-ng's own search, which honours
// ESPEAK_DATA_PATH and then its built-in folder.
constexpr const char* kDataDirVariable = "TAVN_ESPEAK_DATA";

class EspeakBackend final : public Backend {
 public:
  // The one instance; it lives for the process.
  static EspeakBackend& Get();

  // Starts libespeak-ng in synchronous mode.  Returns 0 (also when already
  // started); ENGINE_ERR_NO_VOICE_DATA when TAVN_ESPEAK_DATA names a folder
  // without voice data (nothing is started; a later call may try again);
  // ENGINE_ERR_START_FAILED when libespeak-ng itself fails to start.  After
  // such a failure libespeak-ng's state is unreliable, so every later call
  // returns the same result without trying again.
  uint32_t Initialize();

  // Stops libespeak-ng if it runs; Initialize() may start it again.
  void Terminate();

  // Loads `voice` to see that it exists.  Returns 0, ENGINE_ERR_UNKNOWN_VOICE
  // or ENGINE_ERR_NOT_INITIALIZED.
  uint32_t CheckVoice(std::string_view voice) override;

  // libespeak-ng's rate, the same for every voice (22050 Hz); 0 when not
  // started.
  uint32_t SampleRate(std::string_view voice) override;

  // Quick: libespeak-ng costs little per second of speech, and its cubic
  // resampling from 22050 Hz keeps the speech band.
  Resampling resampling() const override { return Resampling::kQuick; }

  // Phonemes between "[[" and "]]", libespeak-ng's phoneme input (brackets
  // inside are dropped, so they cannot end it early).
  bool PhonemeText(std::string_view phonemes, std::string* text) const override;

  // Each piece ends with the pause that libespeak-ng puts after a sentence
  // inside a longer text, unless prosody.sentence_end is false and the
  // piece does not end in a punctuation mark.  The voice is loaded only when it differs from
  // the last one spoken.  Results as Backend::Speak.
  uint32_t Speak(std::string_view voice, std::string_view text, const Prosody& prosody,
                 std::vector<int16_t>* out) override;

  // The name (as voice= takes it) and main language of every voice it can
  // speak with (mbrola voices, which need a program of their own, are left
  // out).  Results as Backend::ListVoices.
  uint32_t ListVoices(std::vector<VoiceInfo>* out) override;

 private:
  EspeakBackend() = default;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_BACKENDS_ESPEAK_BACKEND_H_
