// Speech marks: the synch text read back, marks placed in the text and
// written as JSON lines, SRT and WebVTT, and the length of audio files.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include "tools/speech_marks.h"

namespace tavn::say {
namespace {

// A synch text as libtavn writes it (head "u", "a.wav").
std::string synch_text(const std::vector<std::pair<std::string, std::string>>& records) {
  std::string s = "{\nMediaUrl:\"u\",\nAbsolutePath:\"a.wav\",\nSentenses : [";
  for (size_t i = 0; i < records.size(); ++i)
    s += (i ? ",\n" : "") + std::string("{\n    Time:\"") + records[i].first + "s\",\n    SentenseText :\"" +
         records[i].second + "\"\n}";
  return s + "]\n}";
}

std::string read_back(const std::string& synch) {
  std::vector<SynchSentence> got;
  if (!read_synch_sentences(synch, "u", "a.wav", &got)) return "invalid";
  std::string out;
  for (const SynchSentence& s : got) out += std::to_string(std::lround(s.seconds * 1000)) + "[" + s.text + "]";
  return out;
}

TEST(SpeechMarks, ReadsTheSynchTextBack) {
  EXPECT_EQ(read_back(synch_text({{"0.000000", "One."}, {"1.250000", "Say \"hi\",\n}."}})),
            "0[One.]1250[Say \"hi\",\n}.]");
  EXPECT_EQ(read_back(synch_text({})), "");
  // A first sentence that does not start the text gets the later records' comma.
  std::string comma = synch_text({{"0.000000", "One."}, {"1.0", "Two."}});
  comma.insert(comma.find("[") + 1, ",\n");
  EXPECT_EQ(read_back(comma), "0[One.]1000[Two.]");
  EXPECT_EQ(read_back(synch_text({{"0.000000", ""}})), "0[]");
  const std::string whole = synch_text({{"0.000000", "One."}});
  EXPECT_EQ(read_back(whole.substr(0, whole.size() - 3)), "invalid");  // no tail: the engine failed
  EXPECT_EQ(read_back("{\nMediaUrl:\"other\""), "invalid");

  std::vector<SynchSentence> got;
  ASSERT_TRUE(read_synch_sentences(synch_text({{"0.000000", "A."}, {"inf", "B."}}), "u", "a.wav", &got));
  EXPECT_FALSE(times_are_finite(got));
  got = {{0.0, "A."}, {-NAN, "B."}};
  EXPECT_FALSE(times_are_finite(got));
  got = {{0.0, "A."}, {2.5, "B."}};
  EXPECT_TRUE(times_are_finite(got));
}

TEST(SpeechMarks, PlacesSentencesAndWritesEachFormat) {
  const std::string text = "Hi. Tom & \"Jo\"\n said <no>. Hi. \xe4\xbd\xa0\xff.";
  const std::vector<SynchSentence> sentences = {
      {0.0, "Hi."}, {0.8004, "Tom & \"Jo\"\n said <no>."}, {2.0, "Hi."}, {3.0, "gone"}, {3.5, "\xe4\xbd\xa0\xff."}};
  const std::vector<SpeechMark> marks = make_marks(sentences, text, 4321);
  ASSERT_EQ(marks.size(), 5u);
  // The second "Hi." is found after the first; "gone" is not in the text.
  EXPECT_EQ(marks[2].start, 27u);
  EXPECT_EQ(marks[3].start, 30u);
  EXPECT_EQ(marks[3].end, 30u);

  EXPECT_EQ(format_marks(marks, MarksFormat::kJson),
            "{\"time\":0,\"type\":\"sentence\",\"start\":0,\"end\":3,\"value\":\"Hi.\"}\n"
            "{\"time\":800,\"type\":\"sentence\",\"start\":4,\"end\":26,"
            "\"value\":\"Tom & \\\"Jo\\\"\\u000a said <no>.\"}\n"
            "{\"time\":2000,\"type\":\"sentence\",\"start\":27,\"end\":30,\"value\":\"Hi.\"}\n"
            "{\"time\":3000,\"type\":\"sentence\",\"start\":30,\"end\":30,\"value\":\"gone\"}\n"
            "{\"time\":3500,\"type\":\"sentence\",\"start\":31,\"end\":36,\"value\":\"\xe4\xbd\xa0\xef\xbf\xbd.\"}\n");
  const std::vector<SpeechMark> two(marks.begin(), marks.begin() + 2);
  EXPECT_EQ(format_marks(two, MarksFormat::kSrt),
            "1\n00:00:00,000 --> 00:00:00,800\nHi.\n\n"
            "2\n00:00:00,800 --> 00:00:02,000\nTom & \"Jo\" said <no>.\n\n");
  EXPECT_EQ(format_marks(make_marks({{3723.5, "Late."}}, "Late.", 3724000), MarksFormat::kVtt),
            "WEBVTT\n\n01:02:03.500 --> 01:02:04.000\nLate.\n\n");
  EXPECT_EQ(format_marks({marks[1]}, MarksFormat::kVtt).find("Tom &amp; \"Jo\" said &lt;no&gt;."), 38u);
  // Unknown audio end: the last mark ends where it starts.
  EXPECT_EQ(make_marks({{1.0, "A."}}, "A.", -1)[0].end_ms, 1000);
  // Times below 0 or past kMaxMarkSeconds (a damaged synch text) are held within them.
  const std::vector<SpeechMark> held = make_marks({{-2.0, "A."}, {1e300, "B."}}, "A.B.", -1);
  EXPECT_EQ(held[0].time_ms, 0);
  EXPECT_EQ(held[1].time_ms, 1000000000000);

  MarksFormat f;
  EXPECT_TRUE(parse_marks_format("VTT", &f));
  EXPECT_EQ(f, MarksFormat::kVtt);
  EXPECT_FALSE(parse_marks_format("xml", &f));
}

void put32(std::string* s, uint32_t v) {
  for (int i = 0; i < 4; ++i) s->push_back(static_cast<char>(v >> (8 * i)));
}

TEST(SpeechMarks, TellsTheLengthOfAudioFiles) {
  // A WAVE file: byte rate 32000, a fact chunk, 64000 data bytes = 2 s;
  // a data size beyond the file counts only the bytes there are.
  const auto wave = [](uint32_t data_size, size_t data_bytes) {
    std::string s = "RIFF";
    put32(&s, 0);
    s += "WAVEfmt ";
    put32(&s, 16);
    s += std::string("\x01\x00\x01\x00", 4);
    put32(&s, 16000);
    put32(&s, 32000);
    s += std::string("\x02\x00\x10\x00", 4);
    s += "fact";
    put32(&s, 4);
    put32(&s, 0);
    s += "data";
    put32(&s, data_size);
    return s + std::string(data_bytes, '\0');
  };
  const struct {
    std::string bytes;
    uint32_t format;
    int64_t ms;
  } cases[] = {
      {wave(64000, 64000), 0, 2000},
      {wave(0xffffffffu, 16000), 4, 500},
      {std::string(4000, 'x'), 17, 1000},  // raw G.726 at 32 kbit/s
      {std::string(4000, 'x'), 0, -1},     // raw without a bit rate
      {std::string("RIFF\0\0\0\0WAVEjunk\xff\xff\xff\xff", 20), 4, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "row " << &c - cases);
    {
      std::ofstream f("marks_length.wav", std::ios::binary);
      f << c.bytes;
    }
    EXPECT_EQ(audio_length_ms("marks_length.wav", c.format), c.ms) << c.format;
  }
  EXPECT_EQ(audio_length_ms("no such file.wav", 4), -1);
}

}  // namespace
}  // namespace tavn::say
