#include "engines/speech/markup/sentence_builder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "engines/speech/text/sentence_splitter.h"

namespace tavn::speech::markup {
namespace {

// White space as the sentence splitter trims it (U+3000 aside).
constexpr char kBlanks[] = " \t\n\r\f\v";

bool is_blank(char c) { return c == '\0' || std::strchr(kBlanks, c) != nullptr; }

}  // namespace

bool operator==(const Style& a, const Style& b) {
  return a.voice == b.voice && a.language == b.language && a.prosody.rate == b.prosody.rate &&
         a.prosody.pitch == b.prosody.pitch && a.prosody.volume_db == b.prosody.volume_db &&
         a.prosody.silent == b.prosody.silent && a.audio_fallback == b.audio_fallback;
}

size_t SentenceBuilder::StyleIndex(const Style& style) {
  if (styles_.empty() || !(styles_.back() == style)) styles_.push_back(style);
  return styles_.size() - 1;
}

void SentenceBuilder::AddChunk(Chunk chunk, std::string_view words) {
  chunk.at = plain_.size();
  chunk.size = words.size();
  plain_.append(words);
  entries_.push_back({false, chunks_.size()});
  chunks_.push_back(chunk);
}

void SentenceBuilder::AddText(std::string_view text, size_t begin, size_t end, const Style& style) {
  if (text.empty()) return;
  const bool exact = text.size() == end - begin;
  const size_t s = StyleIndex(style);
  // Lines of one run of text come one by one: they continue its chunk.
  if (!entries_.empty() && !entries_.back().item) {
    Chunk& last = chunks_.back();
    if (exact && last.exact && !last.whole && last.style == s && last.end == begin) {
      last.size += text.size();
      last.end = end;
      plain_.append(text);
      return;
    }
  }
  Chunk c;
  c.begin = begin;
  c.end = end;
  c.exact = exact;
  c.style = s;
  AddChunk(c, text);
}

void SentenceBuilder::AddWords(std::string_view words, size_t begin, size_t end,
                               const Style& style) {
  if (words.empty()) return;
  Chunk c;
  c.begin = begin;
  c.end = end;
  c.whole = true;
  c.style = StyleIndex(style);
  AddChunk(c, words);
}

void SentenceBuilder::AddPhonemes(std::string_view phonemes, std::string_view words, size_t begin,
                                  size_t end, const Style& style) {
  Chunk c;
  c.begin = begin;
  c.end = end;
  c.whole = true;
  c.style = StyleIndex(style);
  c.phonemes = phonemes_.size();
  phonemes_.emplace_back(phonemes);
  // The splitter needs something to see where the phonemes stand.
  AddChunk(c, words.empty() ? phonemes : words);
}

void SentenceBuilder::AddItem(Segment item) {
  entries_.push_back({true, items_.size()});
  item_at_.push_back(plain_.size());
  items_.push_back(std::move(item));
}

const SentenceBuilder::Chunk* SentenceBuilder::WholeChunkAround(size_t at) const {
  auto it = std::upper_bound(chunks_.begin(), chunks_.end(), at,
                             [](size_t pos, const Chunk& c) { return pos < c.at; });
  if (it == chunks_.begin()) return nullptr;
  const Chunk& c = *(it - 1);
  return c.whole && c.at < at && at < c.at + c.size ? &c : nullptr;
}

void SentenceBuilder::Flush(std::vector<Piece>* run, MarkupSentence* sentence) const {
  // Blanks at either end of the run, never inside whole words.
  while (!run->empty()) {
    Piece& p = run->front();
    if (chunks_[p.chunk].whole || !is_blank(plain_[p.from])) break;
    if (++p.from == p.to) run->erase(run->begin());
  }
  while (!run->empty()) {
    Piece& p = run->back();
    if (chunks_[p.chunk].whole || !is_blank(plain_[p.to - 1])) break;
    if (--p.to == p.from) run->pop_back();
  }
  if (run->empty()) return;

  const Chunk& first = chunks_[run->front().chunk];
  const Chunk& last = chunks_[run->back().chunk];
  const Style& style = styles_[first.style];
  Segment seg;
  seg.kind = Segment::kSpeak;
  seg.begin = first.exact ? first.begin + (run->front().from - first.at) : first.begin;
  seg.end = last.exact ? last.begin + (run->back().to - last.at) : last.end;
  seg.voice = style.voice;
  seg.language = style.language;
  seg.prosody = style.prosody;
  seg.audio_fallback = style.audio_fallback;
  if (first.phonemes != kNone) {
    seg.phonemes = true;
    seg.text = phonemes_[first.phonemes];
    seg.words = plain_.substr(first.at, first.size);
  } else {
    for (const Piece& p : *run) seg.text.append(plain_, p.from, p.to - p.from);
    // Whole words may end in blanks of their own ("A, " of a spelling).
    const size_t b = seg.text.find_first_not_of(kBlanks), e = seg.text.find_last_not_of(kBlanks);
    seg.text = b == std::string::npos ? "" : seg.text.substr(b, e + 1 - b);
  }
  run->clear();
  if (!seg.text.empty()) sentence->segments.push_back(std::move(seg));
}

void SentenceBuilder::EndBlock() {
  // The sentences of the block's words, never cutting whole words.
  std::vector<std::pair<size_t, size_t>> cuts;
  Sentence s;
  for (size_t from = 0; next_sentence(plain_, from, &s);) {
    size_t begin = s.begin, end = s.end;
    if (const Chunk* c = WholeChunkAround(begin)) begin = c->at;
    if (const Chunk* c = WholeChunkAround(end)) {
      const bool fits = c->at + c->size - begin <= kMaxSentenceBytes;
      end = fits || c->at == begin ? c->at + c->size : c->at;
    }
    cuts.emplace_back(begin, end);
    from = end;
  }
  if (cuts.empty() && !items_.empty()) cuts.emplace_back(0, 0);  // items alone

  size_t i = 0;
  std::vector<Piece> run;
  for (size_t k = 0; k < cuts.size(); ++k) {
    const auto [b, e] = cuts[k];
    const bool last = k + 1 == cuts.size();
    MarkupSentence sentence;
    for (; i < entries_.size(); ++i) {
      const Entry& en = entries_[i];
      if (en.item) {
        if (item_at_[en.index] >= e && !last) break;
        Flush(&run, &sentence);
        sentence.segments.push_back(items_[en.index]);
        continue;
      }
      const Chunk& c = chunks_[en.index];
      const size_t c_end = c.at + c.size;
      if (c_end <= b) continue;
      if (c.at >= e) {
        if (last) continue;  // blanks after the last sentence; items may follow
        break;
      }
      if (!run.empty()) {
        const Chunk& prev = chunks_[run.back().chunk];
        if (c.phonemes != kNone || prev.phonemes != kNone ||
            !(styles_[prev.style] == styles_[c.style])) {
          Flush(&run, &sentence);
        }
      }
      run.push_back({en.index, std::max(c.at, b), std::min(c_end, e)});
      if (c_end > e && !last) break;  // the rest of it opens the next sentence
    }
    Flush(&run, &sentence);
    if (sentence.segments.empty()) continue;
    sentence.begin = sentence.segments.front().begin;
    sentence.end = sentence.segments.back().end;
    out_->sentences.push_back(std::move(sentence));
  }

  plain_.clear();
  chunks_.clear();
  items_.clear();
  item_at_.clear();
  entries_.clear();
  styles_.clear();
  phonemes_.clear();
}

}  // namespace tavn::speech::markup
