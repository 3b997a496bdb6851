// Every voice of the engine's two back ends, for people choosing one:
// the libespeak-ng voices (name, e.g. "en-US", as voice= takes it) and the
// flite voices ("flite:slt", ...).
//
// TTSListVoices is the engine library's one export beyond the eight TTS*
// operations that the front end calls; tools use it (tavn-say --voices).
#ifndef TAVN_ENGINES_SPEECH_VOICE_LIST_H_
#define TAVN_ENGINES_SPEECH_VOICE_LIST_H_

#include <cstdint>

extern "C" {

// Writes one line per voice, "NAME\tLANGUAGE\tSAMPLE_RATE\n", libespeak-ng's
// first, then flite's, zero-terminated, into `buffer` (`size` bytes), and
// sets `*needed` to the bytes the whole list takes with its terminator.
// Needs TTSInitialize.  Returns 0; ENGINE_ERR_SIZE when `size` is below
// `*needed` (nothing written); ENGINE_ERR_NULL_ARGUMENT when `needed` is
// null; ENGINE_ERR_NOT_INITIALIZED; ENGINE_ERR_NO_MEMORY.  Thread-safe.
uint32_t TTSListVoices(char* buffer, uint32_t size, uint32_t* needed);

}  // extern "C"

#endif  // TAVN_ENGINES_SPEECH_VOICE_LIST_H_
