// A marked-up (SSML) text, read into the sentences and segments the engine
// speaks.
//
// read_markup parses the whole text (at most 65536 bytes, the front end's
// limit) with expat into a MarkupDocument: a list of sentences, each with the
// byte offsets in the markup text that it stands for and the segments that
// make it up (words to speak with their voice and prosody, silences, marks,
// audio files).  Everything the renderer needs is resolved here: entities
// decoded, say-as and sub expanded into words, prosody of nested elements
// combined, break lengths computed.  Nothing here touches a back end or a
// file.
//
// Functions of their arguments only: safe from any thread.  (Numbers are
// spelled with ICU formatters that a process-wide pool lends out, one
// caller at a time.)
#ifndef TAVN_ENGINES_SPEECH_MARKUP_MARKUP_DOCUMENT_H_
#define TAVN_ENGINES_SPEECH_MARKUP_MARKUP_DOCUMENT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/backends/backend.h"

namespace tavn::speech::markup {

// Deepest element nesting accepted; deeper markup is refused
// (ENGINE_ERR_BAD_MARKUP) without recursion, so any depth is safe on a
// small stack.
constexpr size_t kMaxDepth = 256;

// Longest single break, in milliseconds.
constexpr uint32_t kMaxBreakMs = 10000;

// Longest markup text read_markup takes, in bytes (the front end's limit).
constexpr size_t kMaxMarkupBytes = 65536;

// True when `text` is markup: its first characters other than white space
// (after an optional UTF-8 byte-order mark) are "<speak" followed by white
// space, '>' or '/', or "<?xml" followed by white space; "<speaker>" stays
// plain text.
bool looks_like_markup(std::string_view text);

// How the prosody of the enclosing elements changes the connection's own.
// Nested prosody multiplies (rate, pitch) or adds (volume_db).
struct ProsodyScale {
  double rate = 1.0;       // speaking-rate factor, 1 = the connection's rate
  double pitch = 1.0;      // pitch frequency factor, 1 = the connection's pitch
  double volume_db = 0.0;  // gain in decibels, 0 = the connection's volume
  bool silent = false;     // volume="silent": samples kept, all zero
};

// The connection's prosody changed by `scale`, clamped to each setting's
// range (kMinRate..kMaxRate, 0..kMaxPitch, 0..kMaxVolume).
Prosody apply_prosody(const Prosody& base, const ProsodyScale& scale);

struct Segment {
  enum Kind {
    kSpeak,  // speak `text` with `voice`/`language` and `prosody`
    kBreak,  // `break_ms` of silence
    kMark,   // the point named `name`: no audio
    kAudio,  // the audio file `name` (the src attribute as written, unchecked)
  };
  Kind kind = kSpeak;
  size_t begin = 0;  // markup bytes this segment comes from: [begin, end)
  size_t end = 0;
  std::string text;       // kSpeak: plain UTF-8 words, or phonemes (below)
  bool phonemes = false;  // kSpeak: `text` is in libespeak-ng's phoneme notation
  std::string words;      // kSpeak with `phonemes`: the element's own words, for a
                          // back end that takes no phonemes; else empty
  std::string voice;      // kSpeak: a <voice name> in force, "" = the connection's
  std::string language;   // kSpeak: xml:lang in force (e.g. "fr-FR"), "" = none
  ProsodyScale prosody;   // kSpeak, kAudio fallback
  uint32_t break_ms = 0;  // kBreak
  std::string name;       // kMark: the mark's name; kAudio: src
  // True for the segments that stand for an <audio> element's content: they
  // are spoken only when the kAudio segment just before them cannot be used.
  bool audio_fallback = false;
};

struct MarkupSentence {
  size_t begin = 0;  // markup bytes of the sentence: [begin, end), end > begin
  size_t end = 0;
  std::vector<Segment> segments;  // in order; never empty
};

struct MarkupDocument {
  std::vector<MarkupSentence> sentences;  // may be empty (nothing to speak)
};

struct MarkupError {
  std::string reason;  // the parser's words, e.g. "mismatched tag"
  size_t line = 0;     // 1-based
  size_t column = 0;   // 1-based, in bytes
};

// Reads `text` (markup, see looks_like_markup) into `*out`.  `language` is
// the connection voice's language ("en-us"), used for say-as spelling when
// no xml:lang is in force.  Returns 0; ENGINE_ERR_BAD_MARKUP with `*error`
// filled for malformed XML, a document type with an internal subset (where
// entities would be declared), a reference to an undeclared entity, nesting
// deeper than kMaxDepth, invalid UTF-8 or a text longer than
// kMaxMarkupBytes; or ENGINE_ERR_NO_MEMORY.  `*out` is then unspecified.
// Never throws.
uint32_t read_markup(std::string_view text, std::string_view language, MarkupDocument* out,
                     MarkupError* error);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_MARKUP_DOCUMENT_H_
