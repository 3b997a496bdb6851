// Speech marks of a marked-up (SSML) text: one per sentence, valued with
// its spoken words, and one for each <mark/> with its name.
//
// The engine speaks each sentence as runs of pieces (see
// engines/speech/markup/sentence_runs.h), one synch record per run; this
// reads the records back against the same document, so a sentence that
// marks split into several records still gives one mark.  Pure functions on
// their arguments: safe from any thread.
#ifndef TAVN_TOOLS_MARKUP_MARKS_H_
#define TAVN_TOOLS_MARKUP_MARKS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "engines/speech/markup/markup_document.h"
#include "tools/speech_marks.h"

namespace tavn::say {

// The words a sentence speaks, without tags, entities decoded, white space
// folded into single blanks: its speech segments' words (for phonemes the
// element's own words), the content of <audio> elements left out.
std::string spoken_words(const speech::markup::MarkupSentence& sentence);

// Marks of `doc`, read from `text` (its markup) and the synch `records`:
// one sentence mark per sentence with words (start and end the sentence's
// offsets), one SSML mark per <mark/> (its element's offsets), in the order
// of the audio; sentence ends as set_mark_ends.  False when the records are
// not those of this document.
bool make_markup_marks(const std::vector<SynchSentence>& records, const std::string& text,
                       const speech::markup::MarkupDocument& doc, int64_t audio_end_ms,
                       std::vector<SpeechMark>* out);

}  // namespace tavn::say

#endif  // TAVN_TOOLS_MARKUP_MARKS_H_
