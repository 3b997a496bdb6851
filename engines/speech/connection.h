// One engine connection in this process: its settings, its audio format and the request it
// is speaking.
//
// A request speaks its text one sentence per piece: TTSSynthText's piece is
// the header alone, then every TTSFetchNext renders the next sentence, so
// memory holds at most one sentence of audio whatever the text's length.
// Every piece starts with the same header (none for the raw ADPCM, MP3 and
// AMR formats); non_audio_bytes is its length.  The AMR file magic is in the
// first piece only.  The last piece has status 0 and also carries what the
// MP3 and AMR coders held back.  A "flite:" voice speaks through flite, any
// other through libespeak-ng (Backend::ForVoice).
//
// A marked-up text (settings' markup mode; by default a text that
// markup::looks_like_markup) is read whole at TTSSynthText and then spoken
// by a MarkupSpeaker, one piece per fetch in the same way: pieces of about
// kPieceSeconds at most, each sentence as runs of pieces whose offsets give
// the front end a synch record for the sentence and one for each mark
// (markup/sentence_runs.h).  Plain text never goes near the markup code.
//
// Not thread-safe: one connection is used by one thread at a time.  Distinct
// connections may run on different threads; they share only what their back
// end shares (libespeak-ng's lock, taken per sentence; flite voices speak in
// parallel).
#ifndef TAVN_ENGINES_SPEECH_CONNECTION_H_
#define TAVN_ENGINES_SPEECH_CONNECTION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "engines/speech/audio/audio_encoder.h"
#include "engines/speech/audio/output_format.h"
#include "engines/speech/audio/sound_folder.h"
#include "engines/speech/backends/backend.h"
#include "engines/speech/engine_connection.h"
#include "engines/speech/engine_params.h"
#include "engines/speech/markup_speaker.h"
#include "engines/speech/text/sentence_splitter.h"
#include "synth/kavritts.h"

namespace tavn::speech {

class Connection : public EngineConnection {
 public:
  // Without an audio_root item in `settings`, the folder named by the
  // environment variable kAudioRootVariable (if any) serves <audio>.
  explicit Connection(const EngineSettings& settings);

  // Engine parameter 5.  set_format takes 0 (the default) to 30 and returns
  // 0, ENGINE_ERR_FORMAT_REFUSED or, while a request runs, ENGINE_ERR_BUSY.
  uint32_t set_format(uint32_t format) override;
  uint32_t format() const override { return fmt_.format; }

  // TTSSynthText: takes a copy of record->text (text_length bytes) and fills
  // the record with the first piece, the header alone; status is 1 unless
  // the text holds no sentence.  Returns 0, ENGINE_ERR_NULL_ARGUMENT,
  // ENGINE_ERR_NOT_INITIALIZED, ENGINE_ERR_CODEC, ENGINE_ERR_NO_MEMORY or,
  // for markup that cannot be read, ENGINE_ERR_BAD_MARKUP (record left
  // alone).  A request still running is abandoned.
  uint32_t start(TTSSynthRecord* record) override;

  // TTSFetchNext: renders the next sentence into the record's piece.  Returns
  // 0; ENGINE_ERR_NO_REQUEST when no request runs (none started, the last
  // piece already given, or an earlier failure); or the failure of the
  // sentence, which ends the request.  On failure the record is not changed.
  uint32_t next(TTSSynthRecord* record) override;

 private:
  void fill(TTSSynthRecord* record, uint32_t status, const Sentence& sentence, size_t non_audio);
  bool is_markup() const;
  uint32_t next_markup(TTSSynthRecord* record);

  EngineSettings settings_;
  Prosody prosody_;   // settings_'s rate, pitch and volume
  Backend& backend_;  // the one that speaks settings_.voice
  OutputFormat fmt_;
  bool running_ = false;
  std::string text_;           // the request's text
  bool have_pending_ = false;  // the sentence the next fetch renders
  Sentence pending_;
  bool markup_ = false;  // the request's text is spoken by speaker_
  SoundFolder folder_;   // where <audio> files come from
  MarkupSpeaker speaker_;
  AudioEncoder encoder_;
  std::vector<int16_t> samples_;  // one sentence from the back end
  std::vector<uint8_t> piece_;    // header + one sentence's audio
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_CONNECTION_H_
