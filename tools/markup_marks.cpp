#include "tools/markup_marks.h"

#include <cctype>
#include <cstring>

#include "engines/speech/markup/sentence_runs.h"

namespace tavn::say {

using speech::markup::MarkupDocument;
using speech::markup::MarkupSentence;
using speech::markup::Segment;
using speech::markup::SentenceRun;

std::string spoken_words(const MarkupSentence& sentence) {
  std::string out;
  for (const Segment& s : sentence.segments) {
    if (s.kind != Segment::kSpeak || s.audio_fallback) continue;
    // Segments are words apart, unless the next one starts with a stop or a
    // closing mark ("world" ".").
    bool blank = !out.empty();
    bool first = true;
    for (char c : s.phonemes ? s.words : s.text) {
      if (std::isspace(static_cast<unsigned char>(c))) {
        blank = !out.empty();
        continue;
      }
      if (first && std::strchr(".,;:!?)]}", c) != nullptr) blank = false;
      if (blank) out += ' ';
      blank = first = false;
      out += c;
    }
  }
  return out;
}

bool make_markup_marks(const std::vector<SynchSentence>& records, const std::string& text,
                       const MarkupDocument& doc, int64_t audio_end_ms,
                       std::vector<SpeechMark>* out) {
  out->clear();
  std::vector<SentenceRun> runs;
  size_t next = 0;
  for (const MarkupSentence& sentence : doc.sentences) {
    speech::markup::sentence_runs(sentence, &sentence != &doc.sentences.front(), &runs);
    for (const SentenceRun& run : runs) {
      if (run.carried) continue;  // the tail of the run before: no record of its own
      if (next == records.size() || run.end > text.size() ||
          records[next].text.compare(0, std::string::npos, text, run.begin, run.end - run.begin) !=
              0)
        return false;
      const int64_t ms = mark_time_ms(records[next++].seconds);
      if (run.mark != nullptr) {
        out->push_back({ms, ms, run.begin, run.end, run.mark->name, true});
        continue;
      }
      std::string words = spoken_words(sentence);
      if (!words.empty()) out->push_back({ms, 0, sentence.begin, sentence.end, std::move(words)});
    }
  }
  set_mark_ends(out, audio_end_ms);
  return next == records.size();
}

}  // namespace tavn::say
