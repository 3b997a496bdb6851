// The flite back end: the voices of Debian's libflite, named "flite:NAME" so
// that they can never be taken for a libespeak-ng voice ("en-us").
//
// Voices are registered once, on first use, and stay registered until
// flite_terminate().  A registered voice is only read while it speaks: each
// sentence gets an utterance of its own, and the connection's rate and pitch
// go into that utterance's features, never into the shared voice.  So any
// number of threads may speak at once, with the same voice or different ones;
// only registering and unregistering take the back end's lock exclusively.
// All functions may be called from any thread.
#ifndef TAVN_ENGINES_SPEECH_FLITE_SYNTHESIZER_H_
#define TAVN_ENGINES_SPEECH_FLITE_SYNTHESIZER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/engine_params.h"

namespace tavn::speech {

constexpr std::string_view kFlitePrefix = "flite:";

struct FliteVoiceInfo {
  const char* name;      // as the voice= parameter takes it, e.g. "flite:slt"
  const char* language;  // e.g. "en-us"
  uint32_t sample_rate;  // Hz, the rate the voice speaks at
  const char* about;     // one line for people choosing a voice
};

// Every flite voice this engine carries, in a fixed order; `count` receives
// their number.
const FliteVoiceInfo* flite_voices(size_t* count);

// True when `voice` names the flite family (starts with "flite:"), whether
// or not such a voice exists.
bool is_flite_voice(std::string_view voice);

// Sample rate of the flite voice `voice`; 0 when there is no such voice.
uint32_t flite_sample_rate(std::string_view voice);

// Registers `voice` if needed.  Returns 0 or ENGINE_ERR_UNKNOWN_VOICE.
uint32_t flite_check_voice(std::string_view voice);

// Speaks `text` (UTF-8, one sentence) with `settings`, replacing `*out` with
// the samples (mono, 16-bit, flite_sample_rate() Hz).  Rate becomes flite's
// duration stretch (175 words per minute = the voice's own pace), pitch
// shifts the voice's mean F0 (50 = unchanged, 0 and 100 = down and up by
// half an octave) and volume scales the samples (100 = unchanged, clipped).
// Returns 0, ENGINE_ERR_UNKNOWN_VOICE, ENGINE_ERR_SYNTH_FAILED (also past
// kMaxSentenceSeconds) or ENGINE_ERR_NO_MEMORY.
uint32_t flite_sentence(const EngineSettings& settings, std::string_view text,
                        std::vector<int16_t>* out);

// Unregisters every voice (freeing them); later use registers them again.
// Waits for sentences being spoken to finish.
void flite_terminate();

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_FLITE_SYNTHESIZER_H_
