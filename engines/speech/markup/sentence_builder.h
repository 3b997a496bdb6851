// Cuts the spoken content of a markup text into sentences and segments.
//
// The reader hands over the content block by block: a block is what lies
// between two starts or ends of speak, p and s, so that no sentence ever
// crosses them.  Within a block the words are cut by the sentence splitter
// of plain text (text/sentence_splitter.h), run over the block's words as
// they are spoken, so that words inside <speak> split exactly as the same
// plain text does; words that stand for an element as a whole (say-as
// expansions, aliases, phonemes) are never cut: a cut inside them moves to
// their end, or to their start where the sentence would otherwise grow past
// kMaxSentenceBytes (and they do not open it).  Breaks, marks
// and audio belong to the first sentence that ends after them, or to the
// block's last; a block with no words but such items is a sentence of its
// own.  Within a sentence, consecutive words with the same voice,
// language, prosody and audio fallback make one segment, trimmed of blanks.
//
// Every sentence and segment keeps the markup bytes it comes from: a
// segment from the first to the last byte of its words (tags and entity
// references inside included), an element's words its whole element.
//
// Not thread-safe: one builder per reading.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_BUILDER_H_
#define TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_BUILDER_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {

// What the enclosing elements set for the words inside them.
struct Style {
  std::string voice;
  std::string language;
  ProsodyScale prosody;
  bool audio_fallback = false;
};
bool operator==(const Style& a, const Style& b);

class SentenceBuilder {
 public:
  // Appends the sentences to `out->sentences`.
  explicit SentenceBuilder(MarkupDocument* out) : out_(out) {}

  // Text as the markup has it: `text` decoded from markup bytes
  // [begin, end), either those bytes unchanged or one character
  // (XmlHandler::Text).
  void AddText(std::string_view text, size_t begin, size_t end, const Style& style);
  // Words standing for markup bytes [begin, end) as a whole; never cut.
  // Nothing for empty words.
  void AddWords(std::string_view words, size_t begin, size_t end, const Style& style);
  // Phonemes standing for markup bytes [begin, end): a segment of their
  // own, spoken as `phonemes`, whose `words` are what the sentence splitter
  // sees and what a back end without phonemes says.
  void AddPhonemes(std::string_view phonemes, std::string_view words, size_t begin, size_t end,
                   const Style& style);
  // A break, mark or audio segment, complete with its offsets.
  void AddItem(Segment item);
  // Ends the block: its content becomes sentences.
  void EndBlock();

 private:
  struct Chunk {
    size_t at = 0;  // its words: plain_[at, at + size)
    size_t size = 0;
    size_t begin = 0;  // markup bytes
    size_t end = 0;
    bool exact = false;       // plain_ bytes are the markup bytes, one for one
    bool whole = false;       // never cut
    size_t style = 0;         // in styles_
    size_t phonemes = kNone;  // in phonemes_, for a phoneme chunk
  };
  struct Entry {  // the block's content in document order
    bool item;
    size_t index;  // in chunks_ or items_
  };
  struct Piece {  // part of a chunk in a sentence: plain_[from, to)
    size_t chunk, from, to;
  };
  static constexpr size_t kNone = static_cast<size_t>(-1);

  size_t StyleIndex(const Style& style);
  void AddChunk(Chunk chunk, std::string_view words);
  const Chunk* WholeChunkAround(size_t at) const;
  void Flush(std::vector<Piece>* run, MarkupSentence* sentence) const;

  MarkupDocument* out_;
  std::string plain_;  // the block's words, as the splitter sees them
  std::vector<Chunk> chunks_;
  std::vector<Segment> items_;
  std::vector<size_t> item_at_;  // where each item stands in plain_
  std::vector<Entry> entries_;
  std::vector<Style> styles_;
  std::vector<std::string> phonemes_;
};

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_SENTENCE_BUILDER_H_
