// The text of one piece as the speech libraries take it.
//
// A pure function of its arguments: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_BACKENDS_SENTENCE_COPY_H_
#define TAVN_ENGINES_SPEECH_BACKENDS_SENTENCE_COPY_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavn::speech {

// Copies a sentence's text for a synthesizer into `*copy` (whose c_str() is
// then the zero-terminated text), zero bytes inside turned into blanks so
// the rest of the sentence is not lost, and empties `out`.  Returns 0 or
// ENGINE_ERR_NO_MEMORY.
uint32_t sentence_copy(std::string_view text, std::string* copy, std::vector<int16_t>* out);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_BACKENDS_SENTENCE_COPY_H_
