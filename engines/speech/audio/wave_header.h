// The RIFF/WAVE header that starts every piece of a format that has one.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_WAVE_HEADER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_WAVE_HEADER_H_

#include <cstddef>
#include <cstdint>

#include "engines/speech/audio/output_format.h"

namespace tavn::speech {

constexpr size_t kMaxHeaderLength = 58;

// Writes fmt.header_length bytes (44 or 58; nothing for headerless formats)
// into `out` and returns that length.  The header describes an empty stream:
// RIFF size = header length - 8, data size 0 and, in the 58-byte layout
// (format chunk with cbSize, then a fact chunk), sample count 0.  The reader
// of the pieces patches the sizes once the audio is complete.
size_t write_wave_header(const OutputFormat& fmt, uint8_t out[kMaxHeaderLength]);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_WAVE_HEADER_H_
