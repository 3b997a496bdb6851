// The process-wide libespeak-ng synthesizer.
//
// libespeak-ng keeps its state in globals and is not thread-safe, so every
// function here takes one process-wide lock.  The lock is held for one
// sentence at a time, never for a whole request, so requests on several
// connections interleave sentence by sentence.  All functions may be called
// from any thread, also while the process exits.
#ifndef TAVN_ENGINES_SPEECH_SYNTHESIZER_H_
#define TAVN_ENGINES_SPEECH_SYNTHESIZER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engines/speech/engine_params.h"

namespace tavn::speech {

// Environment variable naming the voice data directory (the folder that
// holds "phontab"); unset or empty: libespeak-ng's own search, which honours
// ESPEAK_DATA_PATH and then its built-in folder.
constexpr const char* kDataDirVariable = "TAVN_ESPEAK_DATA";

// Longest audio one sentence may produce (samples at the synthesizer's
// rate); more fails the sentence, so memory stays bounded.
constexpr size_t kMaxSentenceSeconds = 300;

// Starts libespeak-ng in synchronous mode.  Returns 0 (also when already
// started); ENGINE_ERR_NO_VOICE_DATA when TAVN_ESPEAK_DATA names a folder
// without voice data (nothing is started; a later call may try again);
// ENGINE_ERR_START_FAILED when libespeak-ng itself fails to start.  After
// such a failure libespeak-ng's state is unreliable, so every later call
// returns the same result without trying again.
uint32_t synth_initialize();

// The name (as voice= takes it) and main language of every libespeak-ng
// voice it can speak with (mbrola voices, which need a program of their
// own, are left out).  Returns 0, ENGINE_ERR_NOT_INITIALIZED or
// ENGINE_ERR_NO_MEMORY.
uint32_t synth_list_voices(std::vector<std::pair<std::string, std::string>>* out);

// Stops libespeak-ng if it runs; synth_initialize() may start it again.
void synth_terminate();

// Samples per second of synth_sentence's output; 0 when not started.
uint32_t synth_sample_rate();

// Copies a sentence's text for a synthesizer, zero bytes inside turned into
// blanks so the rest of the sentence is not lost, and empties `out`.
// Returns 0 or ENGINE_ERR_NO_MEMORY.  Shared by both back ends; no lock.
uint32_t sentence_copy(std::string_view text, std::string* copy, std::vector<int16_t>* out);

// Loads `voice` to see that it exists.  Returns 0, ENGINE_ERR_UNKNOWN_VOICE
// or ENGINE_ERR_NOT_INITIALIZED.
uint32_t synth_check_voice(const std::string& voice);

// Speaks `text` (UTF-8, one sentence) with `settings`, replacing `*out` with
// the samples (mono, 16-bit, synth_sample_rate() Hz), ending with the pause
// that follows a sentence.  Returns 0, ENGINE_ERR_NOT_INITIALIZED,
// ENGINE_ERR_UNKNOWN_VOICE, ENGINE_ERR_SYNTH_FAILED (also when the sentence
// runs past kMaxSentenceSeconds) or ENGINE_ERR_NO_MEMORY.
uint32_t synth_sentence(const EngineSettings& settings, std::string_view text,
                        std::vector<int16_t>* out);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_SYNTHESIZER_H_
