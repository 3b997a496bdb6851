// The front end's result codes under their internal names.  0 is success;
// any other engine result passes through unchanged.
#ifndef TAVN_SYNTH_RESULT_CODES_H_
#define TAVN_SYNTH_RESULT_CODES_H_

#include <cstdint>

#include "synth/tavn.h"

namespace tavn::synth {

constexpr uint32_t ERR_EXCEPTION = TAVN_ERR_EXCEPTION;
constexpr uint32_t ERR_EMPTY_INPUT = TAVN_ERR_EMPTY_INPUT;
constexpr uint32_t ERR_NO_MEMORY = TAVN_ERR_NO_MEMORY;
constexpr uint32_t ERR_NULL_INPUT = TAVN_ERR_NULL_INPUT;
constexpr uint32_t ERR_SYNCH_BUFFER = TAVN_ERR_SYNCH_BUFFER;
constexpr uint32_t ERR_OPEN_FILE = TAVN_ERR_OPEN_FILE;
constexpr uint32_t ERR_OUTPUT_TOO_SHORT = TAVN_ERR_OUTPUT_TOO_SHORT;

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_RESULT_CODES_H_
