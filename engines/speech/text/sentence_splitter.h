// Finds the sentences of a UTF-8 text, one at a time, so that a long text is
// spoken sentence by sentence and never rendered whole.
//
// A sentence ends
//  - after a run of '.', '!' or '?' (with closing quotes or brackets after
//    it) that is followed by white space or the end of the text;
//  - after a run of the full-width marks U+3002, U+FF01 or U+FF1F (and
//    closers), with or without white space after it;
//  - at an empty line (a paragraph break);
//  - at kMaxSentenceBytes: an over-long stretch is cut after its last clause
//    mark (',', ';', ':' and their full-width forms, U+3001) or else at its
//    last white space, or else at the last character boundary, so that
//    memory stays bounded by one such stretch of audio.
// Sentences are trimmed of surrounding white space (ASCII, NUL and U+3000).
// Abbreviations such as "Mr." end a sentence too.  Invalid UTF-8 is
// tolerated: cuts never fall inside a well-formed character.
//
// Pure functions of their arguments: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_TEXT_SENTENCE_SPLITTER_H_
#define TAVN_ENGINES_SPEECH_TEXT_SENTENCE_SPLITTER_H_

#include <cstddef>
#include <string_view>

namespace tavn::speech {

constexpr size_t kMaxSentenceBytes = 600;

struct Sentence {
  size_t begin = 0;  // first byte
  size_t end = 0;    // one past the last byte; end > begin
};

// Finds the first sentence that starts at or after byte `from` of `text`.
// Returns false when only white space remains.  `max_bytes` (at least 4)
// bounds the sentence's length.
bool next_sentence(std::string_view text, size_t from, Sentence* out,
                   size_t max_bytes = kMaxSentenceBytes);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_TEXT_SENTENCE_SPLITTER_H_
