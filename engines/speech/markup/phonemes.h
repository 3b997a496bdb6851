// The ph attribute of <phoneme>, in libespeak-ng's phoneme notation (what
// it reads between "[[" and "]]").
//
//   alphabet="ipa" (also when absent): IPA, converted symbol by symbol
//     into libespeak-ng's names (the names of its English phonemes, which
//     the other languages share where they have the sound): "həˈloʊ" ->
//     "h@'loU".  Stress marks, length marks, the tie bar and syllable stops
//     are understood.  An IPA symbol without a counterpart makes the whole
//     string unusable.
//   alphabet="x-espeak" (or "espeak"): libespeak-ng's notation, taken as it
//     is when it is printable ASCII without '[' or ']'.
// Any other alphabet, an unusable string, or one longer than
// kMaxPhonemeBytes: false, and the element's words are spoken instead.
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_PHONEMES_H_
#define TAVN_ENGINES_SPEECH_MARKUP_PHONEMES_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace tavn::speech::markup {

constexpr size_t kMaxPhonemeBytes = 600;

// Replaces `*out` with `ph` in libespeak-ng's notation; false when it
// cannot be used (above).
bool espeak_phonemes(std::string_view alphabet, std::string_view ph, std::string* out);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_PHONEMES_H_
