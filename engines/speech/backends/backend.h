// A speech back end: the library that turns one piece of text into samples.
//
// The engine has two, libespeak-ng (voices named by language or voice file,
// "en-us") and flite (voices named "flite:NAME"); Backend::ForVoice is the
// one place that tells which speaks a voice.  The back ends are process-wide
// objects that live as long as the process; every member may be called from
// any thread, also while the process exits.  Each back end documents what
// runs in parallel inside it.
#ifndef TAVN_ENGINES_SPEECH_BACKENDS_BACKEND_H_
#define TAVN_ENGINES_SPEECH_BACKENDS_BACKEND_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/audio/resampler.h"
#include "engines/speech/engine_params.h"

namespace tavn::speech {

// Longest audio one piece of text may produce, in seconds at the back end's
// rate; more fails the piece, so memory stays bounded.
constexpr size_t kMaxSentenceSeconds = 300;

// How one piece of text is spoken.  An argument of every Speak call, never
// state of the back end, so that it can change from one piece to the next.
struct Prosody {
  int rate = kDefaultRate;      // words per minute, kMinRate to kMaxRate
  int pitch = kDefaultPitch;    // 0 to kMaxPitch, 50 = the voice's own
  int volume = kDefaultVolume;  // 0 to kMaxVolume, 100 = unchanged
  // Markup splits a sentence into several pieces where the voice or prosody
  // changes.  A piece that does not start its sentence leaves out the pause
  // a back end puts before an utterance, one that does not end it the pause
  // after a sentence (a clause mark at its end keeps its own pause), so the
  // pieces join as one sentence.
  bool sentence_start = true;
  bool sentence_end = true;
};

struct VoiceInfo {
  std::string name;      // as voice= takes it
  std::string language;  // e.g. "en-us"
  uint32_t sample_rate;  // Hz, the rate the voice speaks at
};

class Backend {
 public:
  virtual ~Backend() = default;

  // The back end that speaks `voice`: flite for names starting with
  // "flite:", libespeak-ng for every other name.  Whether such a voice exists
  // is for CheckVoice to say.  Never fails; the object lives for the process.
  static Backend& ForVoice(std::string_view voice);

  // Starts every back end (libespeak-ng; flite loads its voices on first
  // use).  Returns 0, also when already started, or the result of
  // EspeakBackend::Initialize.  Thread-safe.
  static uint32_t InitializeAll();

  // Stops every back end, waiting for pieces being spoken; InitializeAll may
  // start them again.  Thread-safe.
  static void TerminateAll();

  // True while the back ends are started (InitializeAll succeeded and
  // TerminateAll has not run since).  Thread-safe.
  static bool Running();

  // Every voice of every back end, libespeak-ng's first.  Replaces `*out`.
  // Returns 0, ENGINE_ERR_NOT_INITIALIZED or ENGINE_ERR_NO_MEMORY.
  static uint32_t ListAllVoices(std::vector<VoiceInfo>* out);

  // Makes sure `voice` can speak (loading or registering it if needed).
  // Returns 0, ENGINE_ERR_UNKNOWN_VOICE or ENGINE_ERR_NOT_INITIALIZED.
  virtual uint32_t CheckVoice(std::string_view voice) = 0;

  // Samples per second that Speak gives for `voice`; 0 when the back end is
  // not started or has no such voice.
  virtual uint32_t SampleRate(std::string_view voice) = 0;

  // How closely the engine resamples this back end's samples: the cost of
  // the filter against the cost of the synthesis.
  virtual Resampling resampling() const = 0;

  // Sets `*text` to what Speak takes for `phonemes` (libespeak-ng's phoneme
  // notation) and returns true, or returns false when this back end takes
  // no phonemes (the caller then speaks the words instead).  Throws
  // std::bad_alloc.
  virtual bool PhonemeText(std::string_view phonemes, std::string* text) const = 0;

  // Speaks `text` (UTF-8, one piece, typically a sentence; zero bytes are
  // read as blanks) with `voice` and `prosody`, replacing `*out` with the
  // samples: mono, 16-bit, SampleRate(voice) Hz.  Returns 0,
  // ENGINE_ERR_NOT_INITIALIZED, ENGINE_ERR_UNKNOWN_VOICE,
  // ENGINE_ERR_SYNTH_FAILED (also when the piece runs past
  // kMaxSentenceSeconds) or ENGINE_ERR_NO_MEMORY; `*out` is then unspecified.
  virtual uint32_t Speak(std::string_view voice, std::string_view text, const Prosody& prosody,
                         std::vector<int16_t>* out) = 0;

  // Appends every voice this back end can speak with to `*out`.  Returns 0,
  // ENGINE_ERR_NOT_INITIALIZED or ENGINE_ERR_NO_MEMORY.
  virtual uint32_t ListVoices(std::vector<VoiceInfo>* out) = 0;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_BACKENDS_BACKEND_H_
