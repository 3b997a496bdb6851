// How long a <break> is.
//
// time="N ms" or "N s" (decimals allowed, e.g. "1.5s", "250ms"; blanks
// around the number allowed) is the length, capped at kMaxBreakMs; without
// a readable time, strength gives it:
//
//   none 0 ms, x-weak 100, weak 250, medium 400, strong 750, x-strong 1250
//
// and a break with neither (or with values that cannot be read) is medium.
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_BREAK_LENGTH_H_
#define TAVN_ENGINES_SPEECH_MARKUP_BREAK_LENGTH_H_

#include <cstdint>

namespace tavn::speech::markup {

// The length in milliseconds of a break with these attribute values
// (nullptr: absent).
uint32_t break_length_ms(const char* time, const char* strength);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_BREAK_LENGTH_H_
