// Markup read when the engine is told a text is markup (markup=ssml) but the
// text does not start like a document: SSML content without its <speak>
// root, as a voice application's prompt often is ("Hello <break
// time=\"1s\"/> world").
//
// Safe from any thread, as read_markup.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_MARKUP_FRAGMENT_H_
#define TAVN_ENGINES_SPEECH_MARKUP_MARKUP_FRAGMENT_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {

// A text that looks_like_markup is read by read_markup as it stands; any
// other is read as the content of a <speak> element, its offsets (and the
// column of an error on the first line) still counted in `text`.  Results as
// read_markup; a fragment may be 15 bytes shorter than kMaxMarkupBytes.
uint32_t read_markup_or_fragment(std::string_view text, std::string_view language,
                                 MarkupDocument* out, MarkupError* error);

// Where and why `text` cannot be read by read_markup_or_fragment, for people:
// "line 1, column 27: mismatched tag"; "" when it reads.  Never throws.
std::string markup_error_place(std::string_view text, std::string_view language);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_MARKUP_FRAGMENT_H_
