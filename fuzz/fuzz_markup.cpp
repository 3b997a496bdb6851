// Markup reader.  Input: one byte choosing the language that numbers are
// spelled in, then the markup text.  Checks that the reader accepts or
// refuses with its own codes (a refusal with a reason and a place inside
// the text), that the XML reader never hands over elements nested deeper
// than kMaxDepth and closes each one it opened, and that an accepted
// text's sentences and segments lie inside the text and in order, are never
// empty, hold valid UTF-8 and never take in a tag of speak, p or s.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/xml_reader.h"
#include "fuzz/fuzz_tmp.h"

namespace {

using namespace tavn::speech;
using namespace tavn::speech::markup;

// Checks the nesting the XML reader hands over and notes where the tags of
// speak, p and s stand (those that a sentence must never take in).
class TagCheck : public XmlHandler {
 public:
  void StartElement(std::string_view name, const XmlAttributes&, size_t begin,
                    size_t end) override {
    check(open_.size() < kMaxDepth && begin < end);
    const bool block =
        name == "speak" || name == "p" || name == "s" || name == "paragraph" || name == "sentence";
    open_.push_back(block);
    if (block) block_tags_.emplace_back(begin, end);
  }
  void EndElement(size_t begin, size_t end) override {
    check(!open_.empty());
    if (open_.back() && begin < end) block_tags_.emplace_back(begin, end);
    open_.pop_back();
  }
  void Text(std::string_view text, size_t begin, size_t end) override {
    check(!text.empty() && begin < end);
  }
  bool closed() const { return open_.empty(); }
  // True when a tag of speak, p or s lies in [begin, end).
  bool block_tag_inside(size_t begin, size_t end) const {
    auto it =
        std::lower_bound(block_tags_.begin(), block_tags_.end(), std::make_pair(begin, begin));
    return it != block_tags_.end() && it->first < end;
  }

 private:
  std::vector<bool> open_;
  std::vector<std::pair<size_t, size_t>> block_tags_;  // in order
};

bool valid_utf8(std::string_view s) {
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<uint8_t>(s[i]);
    const size_t len = b < 0x80                 ? 1
                       : b >= 0xC2 && b <= 0xDF ? 2
                       : b >= 0xE0 && b <= 0xEF ? 3
                       : b >= 0xF0 && b <= 0xF4 ? 4
                                                : 0;
    if (len == 0 || i + len > s.size()) return false;
    for (size_t k = 1; k < len; ++k) {
      if ((static_cast<uint8_t>(s[i + k]) & 0xC0) != 0x80) return false;
    }
    i += len;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const char* const kLanguages[] = {"en-us", "de", "fr-FR", "cmn", "", "xx"};
  const char* language = kLanguages[data[0] % (sizeof kLanguages / sizeof *kLanguages)];
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);

  TagCheck tags;
  MarkupError xml_error;
  const uint32_t xml = read_xml(text, &tags, &xml_error);
  if (xml == 0) check(tags.closed());

  MarkupDocument doc;
  MarkupError error;
  const uint32_t r = read_markup(text, language, &doc, &error);
  if (r == ENGINE_ERR_BAD_MARKUP) {
    check(!error.reason.empty() && error.line >= 1 && error.column >= 1);
    check(error.line <= text.size() + 1 && error.column <= text.size() + 1);
    return 0;
  }
  check(r == 0 && xml == 0);
  size_t from = 0;
  for (const MarkupSentence& s : doc.sentences) {
    check(from <= s.begin && s.begin < s.end && s.end <= text.size());
    check(!s.segments.empty());
    check(!tags.block_tag_inside(s.begin, s.end));
    size_t at = s.begin;
    for (const Segment& g : s.segments) {
      check(at <= g.begin && g.begin < g.end && g.end <= s.end);
      at = g.end;
      check(g.kind != Segment::kSpeak || (!g.text.empty() && valid_utf8(g.text)));
      check(g.kind != Segment::kBreak || g.break_ms <= kMaxBreakMs);
      check(!g.phonemes || (g.kind == Segment::kSpeak && valid_utf8(g.words)));
    }
    check(at == s.end);
    from = s.end;
  }
  return 0;
}
