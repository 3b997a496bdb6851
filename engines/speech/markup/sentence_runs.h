// How the pieces of one marked-up sentence carry its byte offsets.
//
// The front end writes one synch record whenever a piece's sentence_begin
// differs from the piece before it, timed by the audio of all earlier
// pieces.  So a sentence is spoken as runs of pieces: the sentence's own run
// (its offsets, the audio up to the first <mark/>), then one run per mark
// (the mark element's offsets, the audio up to the next mark).  A run's
// first piece starts at the mark's point in the audio, so the synch text
// gets a record for the sentence and one for each mark with its exact time,
// and never a second record for the sentence.  A run's pieces may carry no
// audio (a mark right before another); a long run is split into several
// pieces with the same offsets, which the front end joins into one record.
//
// Where a sentence starts with marks at its own first byte, those marks'
// runs come first and the sentence's own run begins after them (its record
// would otherwise share their sentence_begin); a sentence of marks alone has
// no run of its own.  Breaks that open a sentence after another one (a
// pause between two sentences) are the tail of the run before: their pieces
// carry that run's offsets, so the next sentence's record starts where its
// words do, not where the pause does.
//
// A pure function: safe from any thread.  tavn-say uses it to tell the
// records of marks from those of sentences.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_RUNS_H_
#define TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_RUNS_H_

#include <cstddef>
#include <vector>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {

struct SentenceRun {
  size_t begin = 0, end = 0;      // the offsets every piece of the run carries
  size_t first = 0, last = 0;     // the segments it renders: [first, last)
  const Segment* mark = nullptr;  // the mark that starts it; null for the sentence's own run
  bool carried = false;           // opening breaks: the pieces carry the offsets of the run before
                                  // (begin and end are then 0); it gives no synch record
};

// The runs of `sentence` in the order they are spoken; `follows` is true for
// every sentence but a text's first.  Their begins differ from one run to
// the next, and from the runs of the sentences around it.  Replaces `*out`;
// throws std::bad_alloc.
void sentence_runs(const MarkupSentence& sentence, bool follows, std::vector<SentenceRun>* out);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_RUNS_H_
