// One engine connection into one audio file.
#ifndef TAVN_SYNTH_SYNTH_TO_FILE_H_
#define TAVN_SYNTH_SYNTH_TO_FILE_H_

#include <cstdint>

#include "synth/kavritts.h"

namespace tavn::synth {

// Synthesises `record`'s text (text and text_length set, all else zero) on
// connection `handle` into the file `path` (created or truncated).  The
// first audio piece is written whole, engine header included; later pieces
// lose their first header_length bytes; the header's RIFF size, data size
// and (58-byte layout) fact fields are patched at the end.  With `synch` an
// extra_param_f* whose synch_mode is 0, the synch text is appended as the
// pieces arrive.
//
// Returns 0; ERR_OPEN_FILE (no file); the engine's result of TTSSynthText or
// TTSFetchNext (file closed, unpatched); ERR_SYNCH_BUFFER or ERR_NO_MEMORY
// (returned at once: the file is flushed and closed unpatched, holding
// every byte written so far; no descriptor is kept); ERR_OUTPUT_TOO_SHORT
// when under 200 audio bytes were written and no synch text was asked for
// (file closed and patched).  The file stays on disk on every path after
// it was opened.  Reentrant.
uint32_t TTSSynth2File(uint32_t handle, TTSSynthRecord* record, const char* path, void* synch);

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_SYNTH_TO_FILE_H_
