// The marks of a spoken text, for players that highlight the text as it
// plays: when each sentence (and each markup <mark>) begins in the audio.
//
// The answer of POST /v1/speak with "marks":"json":
//   {"audio_url": "/v1/audio/<key>.<ext>", "media_type": "audio/wav",
//    "duration_ms": 3120,
//    "marks": [{"time": 0, "type": "sentence", "start": 0, "end": 15,
//               "value": "First sentence."},
//              {"time": 1460, "type": "ssml", "start": 22, "end": 22,
//               "value": "here"}, ...]}
// time: milliseconds from the start of the audio; start, end: byte offsets
// of the sentence (or the <mark> element) in the request's text, UTF-8;
// value: the sentence's text, or the mark's name.  Times come from the
// audio bytes before each sentence and the format's byte rate; for MP3 and
// AMR they are as exact as a frame (20 to 72 ms), and MP3 audio starts
// after the coder's delay (69 to 138 ms).
//
// Not thread-safe: one per request.
#ifndef TAVN_SERVER_API_SPEECH_MARKS_H_
#define TAVN_SERVER_API_SPEECH_MARKS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "server/api/audio_output.h"

namespace tavn::server {

// Audio bytes per second of `row` (1 to 30); 0 for any other row.
double audio_byte_rate(uint32_t row);

class SpeechMarks {
 public:
  SpeechMarks(uint32_t row, std::string_view text)
      : byte_rate_(audio_byte_rate(row)), text_(text) {}

  // One sentence's piece: its byte offsets in the text and the audio bytes
  // it carried (AudioStream::add_piece's result).  Pieces without a
  // sentence (begin == end) only move the time on.
  void add_sentence(uint32_t begin, uint32_t end, uint64_t audio_bytes);
  // A <mark name> at `offset` in the text, at the time reached so far.
  void add_mark(std::string_view name, uint32_t offset);

  // {"duration_ms": ..., "marks": [...]}: what the prompt cache stores.
  std::string json() const;

 private:
  struct Mark {
    uint64_t time_ms;
    bool sentence;
    uint32_t begin, end;
    std::string value;
  };
  uint64_t now_ms() const;

  double byte_rate_;
  std::string_view text_;
  uint64_t audio_bytes_ = 0;
  std::vector<Mark> marks_;
};

// The whole answer: `stored` (SpeechMarks::json()) with the audio's URL and
// media type added.  `stored` that is not such an object gives an answer
// with no marks.
std::string marks_answer(std::string_view stored, std::string_view audio_url,
                         std::string_view media_type);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_SPEECH_MARKS_H_
