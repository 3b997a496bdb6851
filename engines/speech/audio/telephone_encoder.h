// Sample-by-sample coding of formats 1 to 22: linear PCM (8-bit unsigned,
// 16-bit little-endian) and the telephone codings of libspandsp, G.711
// A-law and mu-law, G.726 ADPCM (3, 4 or 5 bits, packed as in RTP, RFC 3551:
// the first code in the least significant bits) and OKI (Dialogic VOX)
// ADPCM (4 bits, the first sample in the high nibble).
//
// The ADPCM state runs on from one encode() call to the next, so the pieces
// of a stream form one continuous stream; start() begins a new one.  One
// encoder per connection, used by one thread at a time; distinct encoders
// run in parallel.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_TELEPHONE_ENCODER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_TELEPHONE_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engines/speech/audio/output_format.h"

struct g726_state_s;
struct oki_adpcm_state_s;

namespace tavn::speech {

class TelephoneEncoder {
 public:
  TelephoneEncoder() = default;
  ~TelephoneEncoder();
  TelephoneEncoder(const TelephoneEncoder&) = delete;
  TelephoneEncoder& operator=(const TelephoneEncoder&) = delete;

  // Begins a new stream of `codec` at `bits` per sample (G.726: 3, 4 or 5).
  // Returns 0, or ENGINE_ERR_CODEC when libspandsp cannot set up its state.
  uint32_t start(Codec codec, uint32_t bits);

  // Appends the codes of `count` samples to `out`.  For the ADPCM codings
  // `count` must fill whole bytes (a multiple of 8 for 3 and 5 bits, of 2
  // for 4 bits).  Returns 0 or ENGINE_ERR_CODEC (out unchanged); a failed
  // allocation throws std::bad_alloc with out unchanged.
  uint32_t encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out);

 private:
  void release();

  Codec codec_ = Codec::kPcm16;
  uint32_t bits_ = 16;
  g726_state_s* g726_ = nullptr;
  oki_adpcm_state_s* oki_ = nullptr;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_TELEPHONE_ENCODER_H_
