// Speech marks: per sentence its start and end time and its place in the
// text, read back from the synch text libtavn writes, and written out as
// JSON lines, SRT or WebVTT cues.  Pure functions on their arguments: safe
// from any thread.
#ifndef TAVN_TOOLS_SPEECH_MARKS_H_
#define TAVN_TOOLS_SPEECH_MARKS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace tavn::say {

struct SynchSentence {
  double seconds;    // start time as the synch text prints it (may be inf or nan)
  std::string text;  // the sentence's bytes as the library copied them
};

// Reads the sentences of a synch text whose head was written with
// `media_url` and `absolute_path`.  Sentence texts are not escaped in the
// synch text, so a text ends where the next record or the tail begins.
// Returns false (and leaves *out partly filled) when `synch` is not in that form.
bool read_synch_sentences(const std::string& synch, const std::string& media_url,
                          const std::string& absolute_path, std::vector<SynchSentence>* out);

// True when every start time is a finite number (false for the formats
// the library has no bit rate for).
bool times_are_finite(const std::vector<SynchSentence>& sentences);

struct SpeechMark {
  int64_t time_ms, end_ms;  // start, and the next start or the end of the audio
  size_t start, end;        // byte offsets of the sentence in the text as given
  std::string value;        // the sentence text
  bool ssml = false;        // an SSML <mark/>: value is its name, end_ms its time
};

// Latest start time a mark takes; later ones are lowered to it.
constexpr double kMaxMarkSeconds = 1e9;

// A synch time in whole milliseconds: times that are not finite or below 0
// count as 0, later ones than kMaxMarkSeconds as that.
int64_t mark_time_ms(double seconds);

// Sets each sentence mark's end_ms to the next sentence mark's time, the
// last one's to `audio_end_ms` (< 0: unknown, then where it starts); an end
// before its start is raised to the start.  SSML marks end where they start.
void set_mark_ends(std::vector<SpeechMark>* marks, int64_t audio_end_ms);

// One mark per sentence.  Each sentence is looked for in `text` from where
// the previous one ended; one that is not found (cut input) gets an empty
// range there.  Start times that are not finite or below 0 count as 0.
// `audio_end_ms` < 0 means unknown: the last mark then ends where it
// starts.  An end before its start is raised to the start.
std::vector<SpeechMark> make_marks(const std::vector<SynchSentence>& sentences,
                                   const std::string& text, int64_t audio_end_ms);

enum class MarksFormat { kJson, kSrt, kVtt };

// "json", "srt" or "vtt" in any case.
bool parse_marks_format(const std::string& name, MarksFormat* out);

// JSON: one {"time":..,"type":"sentence","start":..,"end":..,"value":".."}
// object per line (invalid UTF-8 becomes U+FFFD), "type":"ssml" with the
// mark's name as value for SSML marks.  SRT and VTT: one cue per sentence,
// its line breaks and blank runs folded into single blanks; SSML marks are
// left out.
std::string format_marks(const std::vector<SpeechMark>& marks, MarksFormat format);

// Milliseconds of audio in the file at `path`: for a RIFF/WAVE file the data
// chunk over the header's byte rate; for a headerless file its size over the
// bit rate of audio format row `format`.  -1 when it cannot be told.
int64_t audio_length_ms(const std::string& path, uint32_t format);

}  // namespace tavn::say

#endif  // TAVN_TOOLS_SPEECH_MARKS_H_
