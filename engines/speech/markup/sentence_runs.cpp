#include "engines/speech/markup/sentence_runs.h"

namespace tavn::speech::markup {
namespace {

// The first mark at or after `from`, or `segments.size()`.
size_t next_mark(const std::vector<Segment>& segments, size_t from) {
  while (from < segments.size() && segments[from].kind != Segment::kMark) ++from;
  return from;
}

}  // namespace

void sentence_runs(const MarkupSentence& sentence, bool follows, std::vector<SentenceRun>* out) {
  out->clear();
  const std::vector<Segment>& segments = sentence.segments;
  size_t i = 0;
  if (follows) {
    while (i < segments.size() && segments[i].kind == Segment::kBreak) ++i;
    if (i > 0) out->push_back({0, 0, 0, i, nullptr, true});
  }
  size_t own_begin = sentence.begin;
  if (i < segments.size() && segments[i].kind == Segment::kMark &&
      segments[i].begin <= sentence.begin) {
    for (; i < segments.size() && segments[i].kind == Segment::kMark; ++i)
      out->push_back({segments[i].begin, segments[i].end, i + 1, i + 1, &segments[i], false});
    own_begin = segments[i - 1].end;
  }
  size_t stop = next_mark(segments, i);
  if (own_begin < sentence.end) {
    out->push_back({own_begin, sentence.end, i, stop, nullptr, false});
  } else if (!out->empty()) {
    out->back().last = stop;  // nothing of the sentence's own after its marks
  }
  for (i = stop; i < segments.size(); i = stop) {
    stop = next_mark(segments, i + 1);
    out->push_back({segments[i].begin, segments[i].end, i + 1, stop, &segments[i], false});
  }
}

}  // namespace tavn::speech::markup
