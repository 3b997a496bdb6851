// Speaks a marked-up text (a MarkupDocument) piece by piece into one
// connection's audio stream.
//
// Each call of next() renders one piece: the audio of some segments of one
// sentence, at most about kPieceSeconds of it (one segment may run past:
// a sentence of speech or a ten-second break; a recording is cut into
// blocks), with the byte offsets that markup/sentence_runs.h gives its run.
// So memory holds one piece whatever the markup: a sentence of a thousand
// ten-second breaks is a thousand pieces.
//
//   speech    the voice VoiceChooser picks, the connection's prosody changed
//             by the segment's (apply_prosody); phonemes where the back end
//             takes them, else the element's words; volume="silent" keeps
//             the length and zeroes the samples.  Each back end's samples
//             are resampled to the format's rate, so one stream comes out.
//   break     exact silence at the format's rate (rounded to the sample).
//   audio     the file from the connection's SoundFolder, streamed through
//             the resampler in blocks; a file that is refused, missing or
//             not a recording speaks the element's fallback segments instead.
//   mark      starts a run of its own (no audio of its own).
//
// One speaker per connection, used by one thread at a time.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_SPEAKER_H_
#define TAVN_ENGINES_SPEECH_MARKUP_SPEAKER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "engines/speech/audio/audio_encoder.h"
#include "engines/speech/audio/sound_file.h"
#include "engines/speech/audio/sound_folder.h"
#include "engines/speech/backends/backend.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/sentence_runs.h"
#include "engines/speech/voice_choice.h"

namespace tavn::speech {

// Audio one piece collects before it is handed out, in seconds.
constexpr double kPieceSeconds = 10.0;

class MarkupSpeaker {
 public:
  // Begins speaking `doc` (taken over) with the connection's `voice` and
  // `prosody`, into a stream at `format_rate` Hz; recordings come from
  // `folder`, which must outlive the request.  Throws std::bad_alloc.
  void start(markup::MarkupDocument doc, const std::string& voice, const Prosody& prosody,
             uint32_t format_rate, const SoundFolder* folder);

  // True when every piece has been rendered (at once for an empty document).
  bool done() const { return sentence_ >= doc_.sentences.size(); }

  // Renders the next piece: appends its audio through `encoder` to `*piece`
  // and sets `*begin`, `*end` to its offsets in the markup text.  Returns 0
  // or the failure of a back end or the encoder (ENGINE_ERR_SYNTH_FAILED,
  // ENGINE_ERR_CODEC, ENGINE_ERR_NO_MEMORY, ...), after which the request
  // cannot go on.  Throws std::bad_alloc.
  uint32_t next(AudioEncoder* encoder, std::vector<uint8_t>* piece, size_t* begin, size_t* end);

 private:
  // Renders segment `index` of the current sentence, or the next blocks of a
  // recording; sets `*finished` when the segment is complete.
  uint32_t render(const markup::Segment& segment, size_t index, AudioEncoder* encoder,
                  std::vector<uint8_t>* piece, bool* finished);
  uint32_t speak(const markup::Segment& segment, size_t index, AudioEncoder* encoder,
                 std::vector<uint8_t>* piece);
  uint32_t stream_recording(AudioEncoder* encoder, std::vector<uint8_t>* piece, bool* finished);
  void enter_sentence();

  markup::MarkupDocument doc_;
  Prosody prosody_;
  uint32_t format_rate_ = 0;
  const SoundFolder* folder_ = nullptr;
  VoiceChooser voices_;

  size_t sentence_ = 0;  // the sentence being spoken
  std::vector<markup::SentenceRun> runs_;
  size_t run_ = 0;                             // the run being spoken
  size_t segment_ = 0;                         // the next segment to render
  size_t first_speech_ = 0, last_speech_ = 0;  // the sentence's first and last words
  size_t last_begin_ = 0, last_end_ = 0;       // the offsets of the last piece

  double piece_seconds_ = 0;       // audio in the piece being rendered
  bool recording_open_ = false;    // sound_ is being streamed
  bool recording_played_ = false;  // the last <audio> file played: skip its fallback
  SoundFile sound_;
  std::vector<int16_t> samples_;  // one segment from a back end, or one block of a file
  std::string phoneme_text_;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_MARKUP_SPEAKER_H_
