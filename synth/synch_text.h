// The sentence-timing ("synch") text written into the caller's
// extra_param_f buffer while the audio is produced:
//
//   {\nMediaUrl:"<url>",\nAbsolutePath:"<path>",\nSentenses : [
//   {\n    Time:"0.000000s",\n    SentenseText :"<sentence>"\n}
//   ,\n{\n    Time:"<start>s",\n    SentenseText :"<sentence>"\n}   (each later one)
//   ]\n}
//
// Sentence texts are inserted as they stand (no escaping).  Every append
// goes through write_synch (tavn.hpp).  Not thread-safe per record; records
// of different requests are independent.
#ifndef TAVN_SYNTH_SYNCH_TEXT_H_
#define TAVN_SYNTH_SYNCH_TEXT_H_

#include <cstdint>

#include "synth/kavritts.h"
#include "synth/tavn.hpp"

namespace tavn::synth {

// Appends the head.  Returns ERR_SYNCH_BUFFER when it does not fit, else 0.
uint32_t synch_head(extra_param_f* rec);

// Appends the tail.  Returns ERR_SYNCH_BUFFER when it does not fit, else 0.
uint32_t synch_tail(extra_param_f* rec);

// Sentence bookkeeping of one synthesis run, fed every fetched piece.
class SynchSentences {
 public:
  // `fmt` is the engine's audio data format; its bit rate turns audio bytes
  // into seconds.  `text`/`text_length` are the request's text.
  SynchSentences(extra_param_f* rec, uint32_t fmt, const char* text, uint32_t text_length);

  // Called for every piece TTSFetchNext returned, before its audio is
  // written.  A piece that begins a new sentence appends its record, timed
  // by the sound bytes of all pieces seen before it; then the piece's bytes
  // are counted.  Returns 0, ERR_NO_MEMORY (scratch allocation failed) or
  // ERR_SYNCH_BUFFER (the record did not fit).
  uint32_t step(const TTSSynthRecord& piece);

 private:
  uint32_t append_sentence(const TTSSynthRecord& piece);

  extra_param_f* rec_;
  uint32_t bit_rate_;
  const char* text_;
  uint32_t text_length_;
  uint32_t last_begin_ = 0xffffffffu;
  uint32_t audio_total_ = 0;
  uint32_t non_audio_total_ = 0;
};

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_SYNCH_TEXT_H_
