#include "engines/speech/markup/phonemes.h"

#include "engines/speech/markup/blanks.h"

namespace tavn::speech::markup {
namespace {

struct Symbol {
  std::string_view ipa;
  std::string_view espeak;
};

// Longer IPA sequences first, so that diphthongs and affricates are taken
// whole.  An empty name: the symbol says nothing of its own.
constexpr Symbol kSymbols[] = {
    // Diphthongs and affricates, with and without the tie bar.
    {"e\xC9\xAA", "eI"},          // eɪ
    {"a\xC9\xAA", "aI"},          // aɪ
    {"\xC9\x94\xC9\xAA", "OI"},   // ɔɪ
    {"a\xCA\x8A", "aU"},          // aʊ
    {"\xC9\x99\xCA\x8A", "oU"},   // əʊ
    {"o\xCA\x8A", "oU"},          // oʊ
    {"\xC9\xAA\xC9\x99", "I@"},   // ɪə
    {"e\xC9\x99", "e@"},          // eə
    {"\xC9\x9B\xC9\x99", "e@"},   // ɛə
    {"\xCA\x8A\xC9\x99", "U@"},   // ʊə
    {"t\xCD\xA1\xCA\x83", "tS"},  // t͡ʃ
    {"d\xCD\xA1\xCA\x92", "dZ"},  // d͡ʒ
    {"t\xCA\x83", "tS"},          // tʃ
    {"d\xCA\x92", "dZ"},          // dʒ
    {"\xCA\xA7", "tS"},           // ʧ
    {"\xCA\xA4", "dZ"},           // ʤ
    // Vowels.
    {"i", "i"},
    {"y", "y"},
    {"e", "e"},
    {"a", "a"},
    {"o", "o"},
    {"u", "u"},
    {"\xC9\xAA", "I"},   // ɪ
    {"\xC9\x9B", "E"},   // ɛ
    {"\xC3\xA6", "a"},   // æ
    {"\xC9\x91", "A"},   // ɑ
    {"\xC9\x92", "0"},   // ɒ
    {"\xC9\x94", "O"},   // ɔ
    {"\xCA\x8A", "U"},   // ʊ
    {"\xCA\x8C", "V"},   // ʌ
    {"\xC9\x99", "@"},   // ə
    {"\xC9\x9C", "3"},   // ɜ
    {"\xC9\x9D", "3:"},  // ɝ
    {"\xC9\x9A", "3"},   // ɚ
    {"\xC9\x90", "a#"},  // ɐ
    {"\xC3\xB8", "Y"},   // ø
    {"\xC5\x93", "W"},   // œ
    // Consonants.
    {"p", "p"},
    {"b", "b"},
    {"t", "t"},
    {"d", "d"},
    {"k", "k"},
    {"g", "g"},
    {"f", "f"},
    {"v", "v"},
    {"s", "s"},
    {"z", "z"},
    {"h", "h"},
    {"m", "m"},
    {"n", "n"},
    {"l", "l"},
    {"r", "r"},
    {"w", "w"},
    {"j", "j"},
    {"x", "x"},
    {"c", "c"},
    {"q", "q"},
    {"\xC9\xA1", "g"},   // ɡ
    {"\xCE\xB8", "T"},   // θ
    {"\xC3\xB0", "D"},   // ð
    {"\xCA\x83", "S"},   // ʃ
    {"\xCA\x92", "Z"},   // ʒ
    {"\xC5\x8B", "N"},   // ŋ
    {"\xC9\xAB", "l"},   // ɫ
    {"\xC9\xB9", "r"},   // ɹ
    {"\xC3\xA7", "C"},   // ç
    {"\xCA\x94", "?"},   // ʔ
    {"\xC9\xB2", "n^"},  // ɲ
    {"\xCA\x8E", "l^"},  // ʎ
    {"\xCA\x81", "R"},   // ʁ
    {"\xCA\x80", "R"},   // ʀ
    {"\xCE\xB2", "B"},   // β
    {"\xC9\xA3", "Q"},   // ɣ
    {"\xCA\x8B", "v"},   // ʋ
    {"\xC9\x9F", "J"},   // ɟ
    // Stress, length, syllables, words.
    {"\xCB\x88", "'"},  // ˈ
    {"\xCB\x8C", ","},  // ˌ
    {"'", "'"},
    {",", ","},
    {"\xCB\x90", ":"},  // ː
    {":", ":"},
    {"\xCB\x91", ""},  // ˑ (half long)
    {"\xCD\xA1", ""},  // the tie bar on its own
    {".", ""},
    {" ", " "},
};

bool from_ipa(std::string_view ph, std::string* out) {
  out->clear();
  size_t i = 0;
  while (i < ph.size()) {
    const Symbol* found = nullptr;
    for (const Symbol& s : kSymbols) {
      if (ph.compare(i, s.ipa.size(), s.ipa) == 0) {
        found = &s;
        break;
      }
    }
    if (found == nullptr) return false;
    *out += found->espeak;
    i += found->ipa.size();
  }
  return out->find_first_not_of(" ',:") != std::string::npos;
}

bool own_notation(std::string_view ph, std::string* out) {
  bool any = false;
  for (char c : ph) {
    if (c < ' ' || c > '~' || c == '[' || c == ']') return false;
    any = any || c != ' ';
  }
  out->assign(ph);
  return any;
}

}  // namespace

bool espeak_phonemes(std::string_view alphabet, std::string_view ph, std::string* out) {
  ph = trim_blanks(ph);
  if (ph.empty() || ph.size() > kMaxPhonemeBytes) return false;
  if (alphabet.empty() || alphabet == "ipa") return from_ipa(ph, out);
  if (alphabet == "x-espeak" || alphabet == "espeak") return own_notation(ph, out);
  return false;
}

}  // namespace tavn::speech::markup
