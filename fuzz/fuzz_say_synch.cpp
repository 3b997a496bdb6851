// tavn-say's reader of the synch text and the speech marks made from it.
// Input: the spoken text (up to the first line break) and a synch text (the
// rest; when it does not start with "{", the head for media URL "u" and path
// "a.wav" is put in front).  A synch text that reads back is written again
// and must read back to the same sentences; the marks must lie in the text,
// in order, and each output format must hold one record per mark.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/fuzz_tmp.h"
#include "tools/speech_marks.h"

namespace {

using tavn::say::SpeechMark;
using tavn::say::SynchSentence;

const char kHead[] = "{\nMediaUrl:\"u\",\nAbsolutePath:\"a.wav\",\nSentenses : [";

// The synch text of `sentences` as the front end lays it out, the times
// written so that they read back exactly.
std::string write_synch(const std::vector<SynchSentence>& sentences) {
  std::string s = kHead;
  for (size_t i = 0; i < sentences.size(); ++i) {
    char time[64];
    std::snprintf(time, sizeof time, "%.17g", sentences[i].seconds);
    s += std::string(i > 0 ? ",\n" : "") + "{\n    Time:\"" + time + "s\",\n    SentenseText :\"" +
         sentences[i].text + "\"\n}";
  }
  return s + "]\n}";
}

bool same_time(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

size_t count(const std::string& s, const std::string& what) {
  size_t n = 0;
  for (size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + what.size())) ++n;
  return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto [text, synch] = split_input(data, size);
  if (synch.empty() || synch[0] != '{') synch = kHead + synch;

  std::vector<SynchSentence> sentences;
  if (!tavn::say::read_synch_sentences(synch, "u", "a.wav", &sentences)) return 0;
  std::vector<SynchSentence> again;
  check(tavn::say::read_synch_sentences(write_synch(sentences), "u", "a.wav", &again));
  check(again.size() == sentences.size());
  for (size_t i = 0; i < again.size(); ++i)
    check(again[i].text == sentences[i].text && same_time(again[i].seconds, sentences[i].seconds));

  const int64_t audio_end_ms = size % 3 == 0 ? -1 : static_cast<int64_t>(size) * 997;
  const std::vector<SpeechMark> marks = tavn::say::make_marks(sentences, text, audio_end_ms);
  check(marks.size() == sentences.size());
  size_t cursor = 0;
  for (size_t i = 0; i < marks.size(); ++i) {
    const SpeechMark& m = marks[i];
    check(m.start >= cursor && m.start <= m.end && m.end <= text.size());
    check(m.start == m.end || text.compare(m.start, m.end - m.start, m.value) == 0);
    check(m.time_ms >= 0 && m.end_ms >= m.time_ms);
    if (i + 1 < marks.size()) check(m.end_ms == std::max(m.time_ms, marks[i + 1].time_ms));
    cursor = m.end;
  }

  // JSON: one line per mark (line breaks inside a text are escaped);
  // SRT and VTT: one cue per mark, each ended by a blank line.
  check(count(tavn::say::format_marks(marks, tavn::say::MarksFormat::kJson), "\n") == marks.size());
  check(count(tavn::say::format_marks(marks, tavn::say::MarksFormat::kSrt), "\n\n") ==
        marks.size());
  check(count(tavn::say::format_marks(marks, tavn::say::MarksFormat::kVtt), "\n\n") ==
        marks.size() + 1);
  return 0;
}
