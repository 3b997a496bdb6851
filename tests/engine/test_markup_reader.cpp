// The markup reader: when a text is markup, the sentences and segments it
// gives with the markup bytes they stand for, and what it refuses.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/xml_reader.h"
#include "engines/speech/text/sentence_splitter.h"

namespace tavn::speech::markup {
namespace {

// A segment as `words<-markup`, the markup being the bytes it stands for,
// with its kind, voice, language and audio fallback where they matter.
std::string describe(const Segment& g, const std::string& text) {
  std::string s;
  switch (g.kind) {
    case Segment::kSpeak: s = g.phonemes ? "[[" + g.text + "]]/" + g.words : g.text; break;
    case Segment::kBreak: s = "break " + std::to_string(g.break_ms); break;
    case Segment::kMark: s = "mark " + g.name; break;
    case Segment::kAudio: s = "audio " + g.name; break;
  }
  if (!g.voice.empty()) s += " {" + g.voice + "}";
  if (!g.language.empty()) s += " {" + g.language + "}";
  if (g.audio_fallback) s += " {fallback}";
  return s + "<-" + text.substr(g.begin, g.end - g.begin);
}

// Each sentence's segments, checking that the sentence spans them.
std::vector<std::vector<std::string>> read(const std::string& text, const char* language = "en-us") {
  MarkupDocument doc;
  MarkupError error;
  const uint32_t r = read_markup(text, language, &doc, &error);
  EXPECT_EQ(r, 0u) << error.reason << " at " << error.line << ":" << error.column;
  std::vector<std::vector<std::string>> out;
  for (const MarkupSentence& s : doc.sentences) {
    EXPECT_FALSE(s.segments.empty());
    if (s.segments.empty()) continue;
    EXPECT_EQ(s.begin, s.segments.front().begin);
    EXPECT_EQ(s.end, s.segments.back().end);
    out.emplace_back();
    for (const Segment& g : s.segments) out.back().push_back(describe(g, text));
  }
  return out;
}

TEST(MarkupReader, TellsMarkupFromPlainText) {
  const struct {
    const char* text;
    bool markup;
  } cases[] = {
      {"<speak>Hi</speak>", true},
      {" \t\r\n<speak version=\"1.1\">Hi</speak>", true},
      {"\xEF\xBB\xBF<speak>Hi</speak>", true},
      {"<speak/>", true},
      {"<?xml version=\"1.0\"?><speak>Hi</speak>", true},
      {"<speaker>Hi</speaker>", false},
      {"<SPEAK>Hi</SPEAK>", false},
      {"<b>bold</b> text", false},
      {"< speak>", false},
      {"Say <speak>Hi</speak>", false},
      {"<speak", false},
      {"<?xml-stylesheet href=\"a\"?>", false},
      {"\xEF\xBB\xBF", false},
      {"", false},
  };
  for (const auto& c : cases) EXPECT_EQ(looks_like_markup(c.text), c.markup) << c.text;
}

// "w w w ... " with `n` words.
std::string words(int n) {
  std::string s;
  for (int i = 0; i < n; ++i) s += "w ";
  return s;
}

TEST(MarkupReader, GivesSentencesAndSegmentsWithTheirMarkup) {
  using Doc = std::vector<std::vector<std::string>>;
  const struct {
    std::string text;
    Doc doc;
  } cases[] = {
      {"<speak>Hello world. Is it? Yes!</speak>", {{"Hello world.<-Hello world."}, {"Is it?<-Is it?"}, {"Yes!<-Yes!"}}},
      // p and s each give their own sentences, with or without a stop.
      {"<speak>Intro <p>No stop here</p><p><s>One</s><s>Two</s> Three. Four</p> end</speak>",
       {{"Intro<-Intro"},
        {"No stop here<-No stop here"},
        {"One<-One"},
        {"Two<-Two"},
        {"Three.<-Three."},
        {"Four<-Four"},
        {"end<-end"}}},
      // Entities, character references, CRLF and CDATA decoded; the markup
      // keeps them; comments and unknown elements are read through.
      {"<speak>Tom &amp; Jerry&#x2C;\r\n<![CDATA[a<b]]> <!-- c --><x:foo a=\"1\">more</x:foo></speak>",
       {{"Tom & Jerry,\na<b more<-Tom &amp; Jerry&#x2C;\r\n<![CDATA[a<b]]> <!-- c --><x:foo a=\"1\">more"}}},
      // Prosody changes make segments, not sentences.
      {"<speak>This is <emphasis>very</emphasis> nice.</speak>", {{"This is<-This is", "very<-very", "nice.<-nice."}}},
      {"<speak>A <voice name=\"flite:slt other\">B</voice> <lang xml:lang=\"fr-FR\">C</lang>.</speak>",
       {{"A<-A", "B {flite:slt}<-B", "C {fr-FR}<-C", ".<-."}}},
      {"<speak xml:lang=\"de\"><voice name=\"../x\" xml:lang=\"bad/lang\">Hallo.</voice></speak>",
       {{"Hallo. {de}<-Hallo."}}},
      // Breaks, marks and audio go with the first sentence that ends after
      // them, or the last; alone, they are a sentence.
      {"<speak>One. <break time=\"500ms\"/>Two<mark name=\"m\"/>.<break/></speak>",
       {{"One.<-One."},
        {"break 500<-<break time=\"500ms\"/>", "Two<-Two", "mark m<-<mark name=\"m\"/>", ".<-.",
         "break 400<-<break/>"}}},
      {"<speak><p><break strength=\"x-strong\"></break></p><p> </p><mark name=\"\"/></speak>",
       {{"break 1250<-<break strength=\"x-strong\">"}}},
      {"<speak><audio src=\"a.wav\">Beep <desc>a sound</desc></audio> done.</speak>",
       {{"audio a.wav<-<audio src=\"a.wav\">", "Beep {fallback}<-Beep", "done.<-done."}}},
      // Words that stand for a whole element.
      {"<speak>The <sub alias=\"World Wide Web\">WWW</sub>. <sub alias=\"\">gone</sub></speak>",
       {{"The World Wide Web.<-The <sub alias=\"World Wide Web\">WWW</sub>."}}},
      {"<speak>A <phoneme alphabet=\"ipa\" "
       "ph=\"t\xC9\x99\xCB\x88m\xC9\x91\xCB\x90to\xCA\x8A\">tomato</phoneme>.</speak>",
       {{"A<-A",
         "[[t@'mA:toU]]/tomato<-<phoneme alphabet=\"ipa\" ph=\"t\xC9\x99\xCB\x88m\xC9\x91\xCB\x90to\xCA\x8A\">"
         "tomato</phoneme>",
         ".<-."}}},
      {"<speak><phoneme alphabet=\"x-sampa\" ph=\"t@\">tomato</phoneme></speak>", {{"tomato<-tomato"}}},
      {"<speak>Pay <say-as interpret-as=\"cardinal\">12</say-as> now.</speak>",
       {{"Pay twelve now.<-Pay <say-as interpret-as=\"cardinal\">12</say-as> now."}}},
      {"<speak><say-as interpret-as=\"characters\"> A&amp;b </say-as></speak>", {{"A, &, B<-A&amp;b"}}},
      {"<speak><say-as interpret-as=\"cardinal\">twelve</say-as></speak>", {{"twelve<-twelve"}}},
      // A stop inside an element's words does not cut them: the cut moves to
      // their end.
      {"<speak>Ask <sub alias=\"Doctor. Who\">Dr. Who</sub> now</speak>",
       {{"Ask Doctor. Who<-Ask <sub alias=\"Doctor. Who\">Dr. Who</sub>"}, {"now<-now"}}},
      // ... unless the sentence would grow past the length limit.
      {"<speak>" + words(295) + "<sub alias=\"aa bb cc dd ee ff\">x</sub> tail</speak>",
       {{words(295).substr(0, 589) + "<-" + words(295).substr(0, 589)},
        {"aa bb cc dd ee ff tail<-<sub alias=\"aa bb cc dd ee ff\">x</sub> tail"}}},
      // speak, p and s end sentences wherever they stand.
      {"<speak>A <say-as interpret-as=\"cardinal\">12<s>x</s>3</say-as> B <desc><p>y</p></desc>C</speak>",
       {{"A 12<-A <say-as interpret-as=\"cardinal\">12"}, {"x<-x"}, {"3 B<-3</say-as> B"}, {"C<-C"}}},
      {"<speak> \n </speak>", {}},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><speak>caf\xC3\xA9</speak>", {{"caf\xC3\xA9<-caf\xC3\xA9"}}},
      {"<!DOCTYPE speak PUBLIC \"-//W3C//DTD SYNTHESIS 1.0//EN\" \"synthesis.dtd\"><speak>Hi</speak>", {{"Hi<-Hi"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(read(c.text), c.doc);
  }
}

// Each speak segment's words with the scale in force, as
// "words rate semitones dB[ silent]".
std::vector<std::string> scales(const std::string& text) {
  MarkupDocument doc;
  MarkupError error;
  EXPECT_EQ(read_markup(text, "en-us", &doc, &error), 0u) << error.reason;
  std::vector<std::string> out;
  for (const MarkupSentence& s : doc.sentences) {
    for (const Segment& g : s.segments) {
      char buf[64];
      std::snprintf(buf, sizeof buf, " %.2f %+.1f %+.1f%s", g.prosody.rate, 12 * std::log2(g.prosody.pitch),
                    g.prosody.volume_db, g.prosody.silent ? " silent" : "");
      out.push_back((g.kind == Segment::kSpeak ? g.text : "(" + describe(g, text) + ")") + buf);
    }
  }
  return out;
}

TEST(MarkupReader, CombinesTheProsodyOfNestedElements) {
  const struct {
    const char* text;
    std::vector<std::string> segments;
  } cases[] = {
      {"<speak><prosody rate=\"50%\" volume=\"+6dB\">a <prosody rate=\"+20%\" pitch=\"-2st\">b "
       "<emphasis>c</emphasis></prosody> d</prosody> e</speak>",
       {"a 0.50 +0.0 +6.0", "b 0.60 -2.0 +6.0", "c 0.54 -0.5 +9.0", "d 0.50 +0.0 +6.0", "e 1.00 +0.0 +0.0"}},
      {"<speak><prosody volume=\"silent\">a <prosody volume=\"loud\" rate=\"x-fast\">b</prosody>"
       "<break time=\"1s\"/></prosody></speak>",
       {"a 1.00 +0.0 +0.0 silent", "b 2.00 +0.0 +3.0", "(break 1000<-<break time=\"1s\"/>) 1.00 +0.0 +0.0 silent"}},
      {"<speak><emphasis level=\"reduced\"><emphasis level=\"strong\">a</emphasis></emphasis></speak>",
       {"a 0.88 +1.5 +3.0"}},
  };
  for (const auto& c : cases) EXPECT_EQ(scales(c.text), c.segments) << c.text;
}

TEST(MarkupReader, SplitsWordsInsideSpeakAsPlainText) {
  std::string plain = "First one. Second one!\n\nA heading\n\nE.g., 3.14 is pi. ";
  for (int i = 0; i < 150; ++i) plain += "word ";
  plain += "and, then more words without a stop";
  const std::string text = "<speak>" + plain + "</speak>";
  std::vector<std::vector<std::string>> want;
  Sentence s;
  for (size_t from = 0; next_sentence(plain, from, &s); from = s.end) {
    const std::string words = plain.substr(s.begin, s.end - s.begin);
    want.push_back({words + "<-" + words});
  }
  EXPECT_GT(want.size(), 5u);
  EXPECT_EQ(read(text), want);
}

// Characters spelled one by one stand for their own bytes: a long run of
// them is cut into sentences like any words, each sentence standing for its
// part of the content.
TEST(MarkupReader, SpellsLongCharacterRunsInSentencesOfTheirOwnBytes) {
  std::string letters;
  for (int i = 0; i < 400; ++i) letters += static_cast<char>('a' + i % 26);
  const std::string text = "<speak><say-as interpret-as=\"characters\">" + letters + "\r\nz</say-as></speak>";
  MarkupDocument doc;
  MarkupError error;
  ASSERT_EQ(read_markup(text, "en-us", &doc, &error), 0u);
  ASSERT_GE(doc.sentences.size(), 2u);
  std::string covered, said, want;
  for (const MarkupSentence& s : doc.sentences) {
    ASSERT_EQ(s.segments.size(), 1u);
    EXPECT_LE(s.segments[0].text.size(), kMaxSentenceBytes);
    covered += text.substr(s.begin, s.end - s.begin);
    said += (said.empty() ? "" : " ") + s.segments[0].text;
  }
  EXPECT_EQ(covered, letters + "z");  // the line break falls between two sentences
  for (char c : letters + "z") want += std::string(want.empty() ? "" : ", ") + static_cast<char>(c - 'a' + 'A');
  EXPECT_EQ(said, want);
}

TEST(MarkupReader, RefusesNullArguments) {
  MarkupDocument doc;
  MarkupError error;
  EXPECT_EQ(read_markup("<speak/>", "en", nullptr, &error), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(read_markup("<speak/>", "en", &doc, nullptr), ENGINE_ERR_NULL_ARGUMENT);
}

// Every piece of text comes with the bytes it was read from, also the last
// piece of a text that ends inside an element.
TEST(MarkupReader, XmlReaderGivesEachTextItsBytes) {
  struct Texts : XmlHandler {
    std::string source;
    std::vector<std::string> seen;
    void StartElement(std::string_view, const XmlAttributes&, size_t, size_t) override {}
    void EndElement(size_t, size_t) override {}
    void Text(std::string_view text, size_t begin, size_t end) override {
      seen.push_back(std::string(text) + "<-" + source.substr(begin, end - begin));
    }
  };
  const struct {
    const char* text;
    std::vector<std::string> seen;
  } cases[] = {
      {"<speak>a&amp;&#x42;\r\n<![CDATA[c]]></speak>", {"a<-a", "&<-&amp;", "B<-&#x42;", "\n<-\r\n", "c<-c"}},
      {"<speak>x]]", {"x<-x", "]]<-]]"}},
  };
  for (const auto& c : cases) {
    Texts t;
    t.source = c.text;
    MarkupError error;
    read_xml(c.text, &t, &error);
    EXPECT_EQ(t.seen, c.seen) << c.text;
  }
}

// Lines end at "\n", "\r\n" and "\r"; columns count bytes from 1.
TEST(MarkupReader, PlacesErrorsByLineAndByteColumn) {
  const struct {
    const char* text;
    size_t offset, line, column;
  } cases[] = {
      {"abc", 0, 1, 1},    {"abc", 3, 1, 4},       {"a\nb", 2, 2, 1},      {"a\r\nb", 3, 2, 1},
      {"a\r\nb", 2, 1, 3}, {"a\rb\r\rc", 5, 4, 1}, {"\xC3\xA9x", 2, 1, 3}, {"ab", 99, 1, 3},
  };
  for (const auto& c : cases) {
    MarkupError e;
    locate(c.text, c.offset, &e);
    EXPECT_EQ(e.line, c.line) << c.offset << " in " << c.text;
    EXPECT_EQ(e.column, c.column) << c.offset << " in " << c.text;
  }
}

// The result code and the error of reading `text`.
std::string refusal(const std::string& text) {
  MarkupDocument doc;
  MarkupError e;
  const uint32_t r = read_markup(text, "en-us", &doc, &e);
  if (r == 0) return "accepted";
  return std::string(find_engine_code(r) != nullptr ? find_engine_code(r)->name : "?") + " " + std::to_string(e.line) +
         ":" + std::to_string(e.column) + " " + e.reason;
}

std::string nested(size_t depth, const char* name) {
  std::string s = "<speak>";
  for (size_t i = 0; i < depth; ++i) s += std::string("<") + name + ">";
  return s;
}

TEST(MarkupReader, RefusesWhatItCannotReadSafely) {
  const std::string bomb =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE speak [\n <!ENTITY a \"aaaaaaaaaa\">\n"
      " <!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">\n <!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">\n]>\n"
      "<speak>&c;&c;&c;&c;&c;&c;&c;&c;</speak>";
  const struct {
    std::string text, result;
  } cases[] = {
      {"<speak>Hello <b>world</speak>", "ENGINE_ERR_BAD_MARKUP 1:24 mismatched tag"},
      {"<speak>\n  two <x a=\"1\"\n  b></speak>", "ENGINE_ERR_BAD_MARKUP 3:4 not well-formed (invalid token)"},
      {"<speak>Hi", "ENGINE_ERR_BAD_MARKUP 1:10 no element found"},
      {"<speak>Hi</speak><speak/>", "ENGINE_ERR_BAD_MARKUP 1:18 junk after document element"},
      {bomb, "ENGINE_ERR_BAD_MARKUP 2:17 document type with an internal subset (entity declarations are not accepted)"},
      {"<!DOCTYPE speak [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><speak>&x;</speak>",
       "ENGINE_ERR_BAD_MARKUP 1:17 document type with an internal subset (entity declarations are not accepted)"},
      {"<!DOCTYPE speak SYSTEM \"http://example.com/a.dtd\"><speak>Hi &x;</speak>",
       "ENGINE_ERR_BAD_MARKUP 1:61 undefined entity"},
      {"<speak>&x;</speak>", "ENGINE_ERR_BAD_MARKUP 1:8 undefined entity"},
      {"<speak>Hi \xC3\x28 there</speak>", "ENGINE_ERR_BAD_MARKUP 1:11 not well-formed (invalid token)"},
      {"<speak>\xC0\xAF</speak>", "ENGINE_ERR_BAD_MARKUP 1:8 not well-formed (invalid token)"},      // overlong
      {"<speak>\xED\xA0\x80</speak>", "ENGINE_ERR_BAD_MARKUP 1:8 not well-formed (invalid token)"},  // surrogate
      {std::string("<speak>a\0b</speak>", 18), "ENGINE_ERR_BAD_MARKUP 1:9 not well-formed (invalid token)"},
      {nested(kMaxDepth - 1, "p") + "x", "ENGINE_ERR_BAD_MARKUP 1:774 no element found"},
      {nested(kMaxDepth, "p"), "ENGINE_ERR_BAD_MARKUP 1:773 elements nested deeper than 256"},
      {nested(100000, "a"), "ENGINE_ERR_BAD_MARKUP 1:65537 text longer than 65536 bytes"},
      {"<speak>" + std::string(kMaxMarkupBytes - 15, 'a') + "</speak>", "accepted"},
  };
  for (const auto& c : cases) EXPECT_EQ(refusal(c.text), c.result);
}

// Deep nesting costs no stack: 21,000 open elements (63 KB) on a thread of
// 64 KiB are refused like any other depth past the limit.
TEST(MarkupReader, RefusesDeepNestingOnASmallStack) {
  struct Job {
    std::string text = nested(21000, "a");
    std::string result;
  } job;
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, 64 * 1024), 0);
  pthread_t thread;
  auto run = [](void* p) -> void* {
    auto* j = static_cast<Job*>(p);
    j->result = refusal(j->text);
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, &job), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  EXPECT_EQ(job.result, "ENGINE_ERR_BAD_MARKUP 1:773 elements nested deeper than 256");
}

// Many readers at once, in three languages, each reading what one alone
// reads (the number spellers are lent out, one reader at a time).
TEST(MarkupReader, ManyReadersAtOnceReadAlike) {
  const char* const languages[] = {"en-us", "de", "fr"};
  const std::string text =
      "<speak><p>On <say-as interpret-as=\"date\" format=\"ymd\">2024-12-25</say-as> pay "
      "<say-as interpret-as=\"currency\">EUR 12.50</say-as> for <say-as interpret-as=\"ordinal\">3</say-as> "
      "of <say-as interpret-as=\"cardinal\">1234</say-as>.</p><p><say-as interpret-as=\"time\">14:05</say-as>"
      "</p></speak>";
  std::vector<std::vector<std::vector<std::string>>> alone;
  for (const char* l : languages) alone.push_back(read(text, l));
  std::vector<std::thread> threads;
  std::vector<int> differ(8, 0);
  for (size_t t = 0; t < differ.size(); ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 30; ++i) {
        const size_t l = (t + static_cast<size_t>(i)) % 3;
        if (read(text, languages[l]) != alone[l]) ++differ[t];
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(differ, std::vector<int>(differ.size(), 0));
}

}  // namespace
}  // namespace tavn::speech::markup
