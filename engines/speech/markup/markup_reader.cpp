// read_markup: the elements of a markup text, read through xml_reader into
// a SentenceBuilder.
#include <algorithm>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "engines/speech/markup/break_length.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/number_speller.h"
#include "engines/speech/markup/phonemes.h"
#include "engines/speech/markup/prosody_values.h"
#include "engines/speech/markup/say_as.h"
#include "engines/speech/markup/sentence_builder.h"
#include "engines/speech/markup/xml_reader.h"
#include "engines/speech/text/sentence_splitter.h"

namespace tavn::speech::markup {
namespace {

constexpr size_t kMaxLanguageName = 35;
// Most languages one reading spells say-as in; say-as in further ones is
// spoken as written.
constexpr size_t kMaxLanguages = 8;

bool is_alnum(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// An xml:lang value the engine can use: letters, digits, '-' and '_'.
bool usable_language(std::string_view s) {
  if (s.empty() || s.size() > kMaxLanguageName) return false;
  for (char c : s) {
    if (!is_alnum(c) && c != '-' && c != '_') return false;
  }
  return true;
}

// The first name of a <voice name="..."> list, when it has the form of a
// voice name (as the voice= parameter takes it).
std::string voice_name(std::string_view names) {
  const size_t b = names.find_first_not_of(' ');
  if (b == std::string_view::npos) return "";
  const std::string_view first = names.substr(b, names.find(' ', b) - b);
  if (first.size() > kMaxVoiceName) return "";
  for (char c : first) {
    if (!is_alnum(c) && c != '-' && c != '_' && c != '+' && c != ':') return "";
  }
  return std::string(first);
}

// Decoded text gathered inside say-as, sub or phoneme, with the markup bytes
// each piece came from.
struct Captured {
  struct Span {
    size_t at;  // text[at, next span's at)
    size_t begin, end;
  };
  std::string text;
  std::vector<Span> spans;

  void Append(std::string_view t, size_t begin, size_t end) {
    spans.push_back({text.size(), begin, end});
    text.append(t);
  }
  size_t SpanOf(size_t pos) const {
    auto it = std::upper_bound(spans.begin(), spans.end(), pos,
                               [](size_t p, const Span& s) { return p < s.at; });
    return static_cast<size_t>(it - spans.begin()) - 1;
  }
  bool Exact(size_t k) const {
    const size_t next = k + 1 < spans.size() ? spans[k + 1].at : text.size();
    return next - spans[k].at == spans[k].end - spans[k].begin;
  }
  // Markup bytes of text[from, to).
  size_t Begin(size_t from) const {
    const size_t k = SpanOf(from);
    return Exact(k) ? spans[k].begin + (from - spans[k].at) : spans[k].begin;
  }
  size_t End(size_t to) const {
    const size_t k = SpanOf(to - 1);
    return Exact(k) ? spans[k].begin + (to - spans[k].at) : spans[k].end;
  }
};

class Reader : public XmlHandler {
 public:
  Reader(std::string_view language, MarkupDocument* out) : language_(language), builder_(out) {}

  void StartElement(std::string_view name, const XmlAttributes& attributes, size_t begin,
                    size_t end) override {
    Frame f;
    f.style = style();
    f.begin = begin;
    f.tag_end = end;
    const bool block =
        name == "speak" || name == "p" || name == "s" || name == "paragraph" || name == "sentence";
    // No sentence crosses speak, p or s, wherever they stand: inside say-as,
    // sub or phoneme, one ends that element's reading (what it held so far
    // is spoken as written).
    if (block && capture_ != kNone) Abandon();
    if (capture_ != kNone || skip_ != kNone) {  // only words count in there
      if (block) {
        builder_.EndBlock();
        f.kind = Frame::kBlock;
      }
      frames_.push_back(std::move(f));
      return;
    }
    if (const char* lang = attributes.Find("xml:lang"); lang != nullptr && usable_language(lang)) {
      f.style.language = lang;
    }
    auto attr = [&](const char* n) {
      const char* v = attributes.Find(n);
      return v != nullptr ? std::string_view(v) : std::string_view();
    };
    if (block) {
      builder_.EndBlock();
      f.kind = Frame::kBlock;
    } else if (name == "voice") {
      const std::string v = voice_name(attr("name"));
      if (!v.empty()) f.style.voice = v;
    } else if (name == "prosody") {
      apply_rate(attr("rate"), &f.style.prosody);
      apply_pitch(attr("pitch"), &f.style.prosody);
      apply_volume(attr("volume"), &f.style.prosody);
    } else if (name == "emphasis") {
      apply_emphasis(attr("level"), &f.style.prosody);
    } else if (name == "break") {
      Segment item = item_of(Segment::kBreak, f);
      item.break_ms = break_length_ms(attributes.Find("time"), attributes.Find("strength"));
      builder_.AddItem(std::move(item));
    } else if (name == "mark") {
      if (const char* n = attributes.Find("name"); n != nullptr && *n != '\0') {
        Segment item = item_of(Segment::kMark, f);
        item.name = n;
        builder_.AddItem(std::move(item));
      }
    } else if (name == "audio") {
      if (const char* src = attributes.Find("src"); src != nullptr) {
        Segment item = item_of(Segment::kAudio, f);
        item.name = src;
        builder_.AddItem(std::move(item));
        f.style.audio_fallback = true;
      }
    } else if (name == "say-as" || (name == "sub" && attributes.Find("alias") != nullptr) ||
               (name == "phoneme" && attributes.Find("ph") != nullptr)) {
      f.kind = name == "say-as" ? Frame::kSayAs : name == "sub" ? Frame::kSub : Frame::kPhoneme;
      f.first = name == "say-as" ? attr("interpret-as")
                : name == "sub"  ? attr("alias")
                                 : attr("ph");
      f.second = name == "say-as" ? attr("format") : attr("alphabet");
      capture_ = frames_.size();
      captured_ = Captured();
    } else if (name == "desc" || name == "meta" || name == "metadata" || name == "lexicon") {
      skip_ = frames_.size();  // about the text, not to be spoken
    }
    frames_.push_back(std::move(f));
  }

  void EndElement(size_t, size_t end) override {
    Frame f = std::move(frames_.back());
    frames_.pop_back();
    if (frames_.size() == skip_) skip_ = kNone;
    if (frames_.size() == capture_) {
      capture_ = kNone;
      Finish(f, std::max(end, f.tag_end));
    }
    if (f.kind == Frame::kBlock) builder_.EndBlock();
  }

  void Text(std::string_view text, size_t begin, size_t end) override {
    if (skip_ != kNone) return;
    if (capture_ != kNone) {
      captured_.Append(text, begin, end);
    } else {
      builder_.AddText(text, begin, end, style());
    }
  }

  void EndDocument() { builder_.EndBlock(); }

 private:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  struct Frame {
    enum Kind { kOther, kBlock, kSayAs, kSub, kPhoneme } kind = kOther;
    Style style;                    // in force inside the element
    size_t begin = 0, tag_end = 0;  // the start tag
    std::string first, second;  // say-as: interpret-as, format; sub: alias; phoneme: ph, alphabet
  };

  const Style& style() const { return frames_.empty() ? root_ : frames_.back().style; }

  static Segment item_of(Segment::Kind kind, const Frame& f) {
    Segment s;
    s.kind = kind;
    s.begin = f.begin;
    s.end = f.tag_end;
    s.voice = f.style.voice;
    s.language = f.style.language;
    s.prosody = f.style.prosody;
    s.audio_fallback = f.style.audio_fallback;
    return s;
  }

  // The speller of the language in force, borrowed once per reading;
  // nullptr past kMaxLanguages languages, so that a text cannot make the
  // reader build formatters without end.
  NumberSpeller* speller(const Style& s) {
    const std::string& lang = s.language.empty() ? language_ : s.language;
    auto it = spellers_.find(lang);
    if (it == spellers_.end()) {
      if (spellers_.size() >= kMaxLanguages) return nullptr;
      it = spellers_.emplace(lang, borrow_speller(lang)).first;
    }
    return it->second.get();
  }

  // The end of say-as, sub or phoneme, whose element is markup bytes
  // [f.begin, end): its words, or its content as written.
  void Finish(const Frame& f, size_t end) {
    if (f.kind == Frame::kSayAs) {
      std::vector<SaidPart> parts;
      NumberSpeller* words = speller(f.style);
      if (words != nullptr && say_as(f.first, f.second, captured_.text, words, &parts)) {
        for (const SaidPart& p : parts) {
          builder_.AddWords(p.words, p.whole ? f.begin : captured_.Begin(p.from),
                            p.whole ? end : captured_.End(p.to), f.style);
        }
        return;
      }
    } else if (f.kind == Frame::kSub) {
      if (f.first.size() <= kMaxSentenceBytes) {
        builder_.AddWords(f.first, f.begin, end, f.style);
        return;
      }
    } else {
      std::string phonemes;
      if (espeak_phonemes(f.second, f.first, &phonemes)) {
        builder_.AddPhonemes(phonemes, captured_.text, f.begin, end, f.style);
        return;
      }
    }
    SpeakAsWritten(f.style);
  }

  // The text gathered so far, spoken as written.
  void SpeakAsWritten(const Style& style) {
    for (size_t k = 0; k < captured_.spans.size(); ++k) {
      const Captured::Span& s = captured_.spans[k];
      const size_t next =
          k + 1 < captured_.spans.size() ? captured_.spans[k + 1].at : captured_.text.size();
      builder_.AddText(std::string_view(captured_.text).substr(s.at, next - s.at), s.begin, s.end,
                       style);
    }
    captured_ = Captured();
  }

  // Stops reading the say-as, sub or phoneme in progress as a whole.
  void Abandon() {
    Frame& f = frames_[capture_];
    SpeakAsWritten(f.style);
    f.kind = Frame::kOther;
    capture_ = kNone;
  }

  std::string language_;
  SentenceBuilder builder_;
  Style root_;
  std::vector<Frame> frames_;
  size_t capture_ = kNone;  // the frame of the say-as, sub or phoneme being read
  size_t skip_ = kNone;     // the frame of the element whose text is left out
  Captured captured_;
  std::map<std::string, SpellerLease> spellers_;
};

}  // namespace

bool looks_like_markup(std::string_view text) {
  if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  const size_t b = text.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return false;
  text.remove_prefix(b);
  auto followed_by = [&](std::string_view head, std::string_view next) {
    return text.substr(0, head.size()) == head && text.size() > head.size() &&
           next.find(text[head.size()]) != std::string_view::npos;
  };
  return followed_by("<speak", " \t\r\n>/") || followed_by("<?xml", " \t\r\n");
}

uint32_t read_markup(std::string_view text, std::string_view language, MarkupDocument* out,
                     MarkupError* error) {
  if (out == nullptr || error == nullptr) return ENGINE_ERR_NULL_ARGUMENT;
  try {
    out->sentences.clear();
    *error = MarkupError();
    Reader reader(language, out);
    const uint32_t r = read_xml(text, &reader, error);
    if (r != 0) return r;
    reader.EndDocument();
    return 0;
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  } catch (...) {
    return ENGINE_ERR_INTERNAL;
  }
}

}  // namespace tavn::speech::markup
