// Marked-up documents, built here segment by segment, spoken by the
// MarkupSpeaker: how pieces carry offsets and marks, exact silence for
// breaks, prosody, voices of both back ends in one stream, and recordings.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "engines/speech/audio/audio_encoder.h"
#include "engines/speech/audio/output_format.h"
#include "engines/speech/backends/backend.h"
#include "engines/speech/markup/sentence_runs.h"
#include "engines/speech/markup_speaker.h"
#include "tests/support/test_support.h"

namespace tavn::speech {
namespace {

using markup::MarkupDocument;
using markup::MarkupSentence;
using markup::Segment;

// A segment of `kind` standing for markup bytes [begin, end).
Segment item(Segment::Kind kind, size_t begin, size_t end) {
  Segment s;
  s.kind = kind;
  s.begin = begin;
  s.end = end;
  return s;
}
Segment words(std::string text, size_t begin, size_t end) {
  Segment s = item(Segment::kSpeak, begin, end);
  s.text = std::move(text);
  return s;
}
Segment with_voice(Segment s, std::string voice) {
  s.voice = std::move(voice);
  return s;
}
Segment pause(uint32_t ms, size_t begin, size_t end) {
  Segment s = item(Segment::kBreak, begin, end);
  s.break_ms = ms;
  return s;
}
// A mark (kMark) or a recording (kAudio) named `name`.
Segment named(Segment::Kind kind, std::string name, size_t begin, size_t end) {
  Segment s = item(kind, begin, end);
  s.name = std::move(name);
  return s;
}
Segment mark(std::string name, size_t begin, size_t end) { return named(Segment::kMark, std::move(name), begin, end); }
Segment audio(std::string src, size_t begin, size_t end) { return named(Segment::kAudio, std::move(src), begin, end); }
Segment fallback(Segment s) {
  s.audio_fallback = true;
  return s;
}
MarkupDocument one_sentence(std::vector<Segment> segments, size_t begin = 7, size_t end = 90) {
  return MarkupDocument{{MarkupSentence{begin, end, std::move(segments)}}};
}

struct Piece {
  size_t begin, end;
  std::vector<uint8_t> audio;  // the piece's bytes (no header: none is written here)
};

class MarkupSpeakerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_EQ(Backend::InitializeAll(), 0u); }

  // Every piece of `doc` in `format`, the coders' last bytes in the last one.
  std::vector<Piece> speak(MarkupDocument doc, uint32_t format = 4, const std::string& voice = "en",
                           const SoundFolder* folder = nullptr) {
    OutputFormat fmt;
    EXPECT_TRUE(lookup_format(format, &fmt));
    AudioEncoder encoder;
    EXPECT_EQ(encoder.start(fmt, Backend::ForVoice(voice).SampleRate(voice)), 0u);
    MarkupSpeaker speaker;
    speaker.start(std::move(doc), voice, Prosody{}, fmt.sample_rate, folder);
    std::vector<Piece> pieces;
    while (!speaker.done()) {
      Piece p{};
      EXPECT_EQ(speaker.next(&encoder, &p.audio, &p.begin, &p.end), 0u);
      if (speaker.done()) {
        EXPECT_EQ(encoder.finish(&p.audio), 0u);
      }
      pieces.push_back(std::move(p));
    }
    return pieces;
  }

  static size_t bytes(const std::vector<Piece>& pieces) {
    size_t n = 0;
    for (const Piece& p : pieces) n += p.audio.size();
    return n;
  }
};

// 16-bit samples of a format 4 stream.
std::vector<int16_t> samples_of(const std::vector<Piece>& pieces) {
  std::vector<int16_t> out;
  for (const Piece& p : pieces) {
    for (size_t i = 0; i + 1 < p.audio.size(); i += 2)
      out.push_back(static_cast<int16_t>(p.audio[i] | p.audio[i + 1] << 8));
  }
  return out;
}

double rms(const std::vector<int16_t>& v) {
  double sum = 0;
  for (int16_t s : v) sum += double(s) * s;
  return v.empty() ? 0 : std::sqrt(sum / double(v.size()));
}

TEST(SentenceRuns, MarksStartRunsAndTheSentenceKeepsOneRecord) {
  // "runs" lists each run as begin-end:first-last, m for a mark's run, c for
  // breaks carried by the run before.
  const Segment w1 = words("one", 10, 13), w2 = words("two", 30, 33), m1 = mark("a", 14, 28), m2 = mark("b", 34, 48),
                p1 = pause(500, 10, 29);
  const struct {
    const char* what;
    MarkupSentence sentence;
    bool follows;
    const char* runs;
  } cases[] = {
      {"no mark", {10, 33, {w1, w2}}, false, "10-33:0-2"},
      {"a mark inside", {10, 33, {w1, m1, w2}}, true, "10-33:0-1 m14-28:2-3"},
      {"two marks, nothing between", {10, 50, {w1, m1, m2, w2}}, true, "10-50:0-1 m14-28:2-2 m34-48:3-4"},
      {"a mark at the end", {10, 50, {w1, m2}}, true, "10-50:0-1 m34-48:2-2"},
      {"a mark at the sentence's first byte", {14, 33, {m1, w2}}, true, "m14-28:1-1 28-33:1-2"},
      {"marks alone", {14, 48, {mark("a", 14, 28), mark("b", 28, 48)}}, true, "m14-28:1-1 m28-48:2-2"},
      {"a mark first, after the sentence's first byte", {10, 33, {m1, w2}}, true, "10-33:0-0 m14-28:1-2"},
      {"a pause opening the text", {10, 33, {p1, w2}}, false, "10-33:0-2"},
      {"a pause after another sentence", {10, 33, {p1, w2}}, true, "c0-0:0-1 10-33:1-2"},
      {"a pause, then a mark", {10, 50, {p1, m2, w2}}, true, "c0-0:0-1 10-50:1-1 m34-48:2-3"},
  };
  for (const auto& c : cases) {
    std::vector<markup::SentenceRun> runs;
    markup::sentence_runs(c.sentence, c.follows, &runs);
    std::string got;
    for (const markup::SentenceRun& r : runs) {
      got += (got.empty() ? "" : " ") +
             std::string(r.carried           ? "c"
                         : r.mark != nullptr ? "m"
                                             : "") +
             std::to_string(r.begin) + "-" + std::to_string(r.end) + ":" + std::to_string(r.first) + "-" +
             std::to_string(r.last);
    }
    EXPECT_EQ(got, c.runs) << c.what;
  }
}

// A mark's piece comes where the mark stands: after the audio before it, and
// carrying the audio after it under its own offsets.
TEST_F(MarkupSpeakerTest, MarksArePiecesOfTheirOwnInOrder) {
  const std::vector<Piece> pieces = speak(one_sentence({words("One", 10, 13), mark("a", 14, 28), words("two", 30, 33),
                                                        mark("b", 34, 48), mark("c", 49, 60), words("three.", 61, 67)},
                                                       10, 70));
  ASSERT_EQ(pieces.size(), 4u);
  const size_t spans[][2] = {{10, 70}, {14, 28}, {34, 48}, {49, 60}};
  for (size_t i = 0; i < pieces.size(); ++i) {
    EXPECT_EQ(pieces[i].begin, spans[i][0]) << i;
    EXPECT_EQ(pieces[i].end, spans[i][1]) << i;
  }
  EXPECT_GT(pieces[0].audio.size(), 8000u);  // "One": a quarter second at least
  EXPECT_GT(pieces[1].audio.size(), 8000u);  // "two", after mark a
  EXPECT_EQ(pieces[2].audio.size(), 0u);     // mark b, right before c
  EXPECT_GT(pieces[3].audio.size(), 8000u);  // "three."
}

// A break is exact silence of its length at the format's rate, in every
// kind of coding; between words it adds its length to the sentence.
TEST_F(MarkupSpeakerTest, BreaksAreExactSilence) {
  for (uint32_t format : {4u, 3u, 1u, 11u, 10u, 17u, 19u, 21u, 6u}) {
    OutputFormat fmt;
    ASSERT_TRUE(lookup_format(format, &fmt));
    const double byte_rate = fmt.sample_rate * fmt.bits / 8.0;
    const std::vector<Piece> alone = speak(one_sentence({pause(1234, 10, 30)}), format);
    const size_t samples = (1234 * fmt.sample_rate + 500) / 1000;
    EXPECT_EQ(bytes(alone), (samples + fmt.sample_unit - 1) / fmt.sample_unit * fmt.sample_unit * fmt.bits / 8)
        << format;
    const size_t without =
        bytes(speak(one_sentence({words("Wait", 10, 14), pause(0, 15, 30), words("here.", 31, 36)}), format));
    const size_t with =
        bytes(speak(one_sentence({words("Wait", 10, 14), pause(2000, 15, 30), words("here.", 31, 36)}), format));
    EXPECT_NEAR((double(with) - double(without)) / byte_rate, 2.0, 0.02) << format;
  }
  const std::vector<Piece> pcm = speak(one_sentence({pause(500, 10, 30)}));
  for (int16_t s : samples_of(pcm)) ASSERT_EQ(s, 0);
}

// Memory holds one piece: a sentence of many long breaks comes out as many
// pieces of about kPieceSeconds, all with the sentence's offsets.
TEST_F(MarkupSpeakerTest, LongSentencesComeOutInBoundedPieces) {
  std::vector<Segment> segments;
  for (size_t i = 0; i < 200; ++i) segments.push_back(pause(i % 2 ? 10000 : 3000, 10 + i, 11 + i));
  const std::vector<Piece> pieces = speak(one_sentence(segments, 10, 300));
  EXPECT_GE(pieces.size(), 100u);
  EXPECT_LE(pieces.size(), 130u);
  for (const Piece& p : pieces) {
    EXPECT_LE(p.audio.size(), 32000u * 20);  // 20 s at format 4
    EXPECT_EQ(p.begin, 10u);
    EXPECT_EQ(p.end, 300u);
  }
  EXPECT_EQ(bytes(pieces), 32000u * 1300);
}

TEST_F(MarkupSpeakerTest, ProsodyChangesLengthAndLevel) {
  const std::string text = "The quick brown fox jumps over the lazy dog.";
  for (const std::string voice : {"en", "flite:kal"}) {
    SCOPED_TRACE(voice);
    auto with = [&](markup::ProsodyScale scale) {
      Segment s = words(text, 10, 50);
      s.prosody = scale;
      return samples_of(speak(one_sentence({s}), 4, voice));
    };
    const std::vector<int16_t> normal = with({}), slow = with({0.5, 1, 0, false}), loud = with({1, 1, 6, false}),
                               silent = with({1, 1, 0, true});
    EXPECT_NEAR(double(slow.size()) / normal.size(), 2.0, 0.35);
    EXPECT_GT(rms(loud), 1.5 * rms(normal));
    EXPECT_NEAR(double(silent.size()), double(normal.size()), 0.02 * normal.size());  // (libespeak-ng varies a little)
    EXPECT_EQ(rms(silent), 0.0);
  }
}

// Each voice's own rate (22050, 16000, 8000 Hz) comes out at the format's.
TEST_F(MarkupSpeakerTest, VoicesOfBothBackEndsShareOneStream) {
  const std::string text = "Switching voices here.";
  double total = 0;
  std::vector<Segment> mixed;
  for (const std::string voice : {"en", "flite:slt", "flite:kal", "de", "en"}) {
    std::vector<int16_t> native;
    ASSERT_EQ(Backend::ForVoice(voice).Speak(voice, text, Prosody{}, &native), 0u);
    const double seconds = double(native.size()) / Backend::ForVoice(voice).SampleRate(voice);
    const double got = double(bytes(speak(one_sentence({words(text, 10, 30)}), 4, voice))) / 32000;
    EXPECT_NEAR(got, seconds, 0.01 * seconds) << voice;
    mixed.push_back(with_voice(words(text, 10 + mixed.size(), 11 + mixed.size()), voice));
    total += seconds;
  }
  mixed.push_back(with_voice(words(text, 20, 21), "flite:nobody"));  // not installed: the connection's voice
  // Inside one sentence the joins lose the pauses between utterances.
  const double seconds = double(bytes(speak(one_sentence(mixed), 4, "flite:kal16"))) / 32000;
  EXPECT_GT(seconds, 0.8 * total);
  EXPECT_LT(seconds, 1.2 * total + 2);
}

TEST_F(MarkupSpeakerTest, RecordingsAreSplicedOrTheirFallbackSpoken) {
  const Temp_Dir tmp;
  std::vector<int16_t> clip(16000 * 25);  // 25 s: longer than a piece
  for (size_t i = 0; i < clip.size(); ++i) clip[i] = static_cast<int16_t>(8000 * std::sin(0.05 * double(i)));
  SF_INFO info{};
  info.samplerate = 16000;
  info.channels = 1;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* f = sf_open(tmp.file("clip.wav").c_str(), SFM_WRITE, &info);
  ASSERT_NE(f, nullptr);
  sf_write_short(f, clip.data(), static_cast<sf_count_t>(clip.size()));
  sf_close(f);
  const SoundFolder folder(tmp.path());
  auto doc = [](const std::string& src) {
    return one_sentence(
        {words("Before.", 10, 17), audio(src, 18, 40), fallback(words("Instead.", 40, 48)), words("After.", 55, 61)},
        10, 62);
  };
  const std::vector<int16_t> before_after =
      samples_of(speak(one_sentence({words("Before.", 10, 17), words("After.", 55, 61)}, 10, 62)));
  const std::vector<Piece> spliced = speak(doc("clip.wav"), 4, "en", &folder);
  EXPECT_EQ(spliced.size(), 3u);  // 10 s pieces
  const std::vector<int16_t> got = samples_of(spliced);
  ASSERT_NEAR(double(got.size()), double(before_after.size() + clip.size()), 800);
  // The file's samples exactly, between the words.
  EXPECT_NE(std::search(got.begin(), got.end(), clip.begin(), clip.end()), got.end());
  // At 8 kHz: resampled, half as many samples.
  EXPECT_NEAR(double(bytes(speak(doc("clip.wav"), 3, "en", &folder))) / 16000, double(got.size()) / 16000,
              0.01 * got.size() / 16000);
  for (const std::string src : {"missing.wav", "../clip.wav", "", "file:///etc/passwd"}) {
    const size_t spoken = samples_of(speak(doc(src), 4, "en", &folder)).size();
    EXPECT_GT(spoken, before_after.size() + 8000) << src;  // "Instead." too
    EXPECT_LT(spoken, before_after.size() + 16000 * 3) << src;
  }
  EXPECT_GT(samples_of(speak(doc("clip.wav"))).size(), before_after.size() + 8000);  // no folder: fallback
}

}  // namespace
}  // namespace tavn::speech
