#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "engines/speech/audio/output_format.h"
#include "engines/speech/audio/wave_header.h"
#include "server/api/audio_stream.h"
#include "server/api/speech_marks.h"
#include "tests/support/test_support.h"

namespace tavn::server {
namespace {

// The engine's first piece for `row`: its WAVE header, or the AMR magic, or nothing.
std::string first_piece(uint32_t row) {
  speech::OutputFormat fmt;
  EXPECT_TRUE(speech::lookup_format(row, &fmt));
  uint8_t header[speech::kMaxHeaderLength];
  const size_t n = speech::write_wave_header(fmt, header);
  return std::string(reinterpret_cast<char*>(header), n) + fmt.magic;
}

// The answer for the first piece and `sentences` later pieces of `each` audio bytes.
std::string stream(AudioStream& s, uint32_t row, int sentences, size_t each) {
  const std::string first = first_piece(row);
  const std::string header = first.substr(0, wave_header_length(row));
  std::string body;
  s.add_piece(reinterpret_cast<const uint8_t*>(first.data()), first.size(), first.size(), &body);
  for (int i = 0; i < sentences; ++i) {
    const std::string piece = header + std::string(each, static_cast<char>('a' + i));
    EXPECT_EQ(s.add_piece(reinterpret_cast<const uint8_t*>(piece.data()), piece.size(), header.size(), &body), each);
  }
  return body;
}

double sox_seconds(const std::string& file) {
  return std::atof(run_command("sox " + file + " -n stat 2>&1 | sed -n 's/^Length (seconds): *//p'").c_str());
}

TEST(AudioStream, SendsOneHeaderAndThePiecesAudio) {
  const struct {
    AudioOutput out;
    size_t body_start;       // bytes before the audio
    const char* start_with;  // the body's first bytes
  } cases[] = {
      {{4, false}, 44, "RIFF\xff\xff\xff\xffWAVE"},  // streaming sizes
      {{12, false}, 58, "RIFF\xff\xff\xff\xffWAVE"},
      {{12, true}, 0, "aaaa"},
      {{24, false}, 6, "#!AMR\naaaa"},
      {{26, false}, 9, "#!AMR-WB\naaaa"},
      {{17, false}, 0, "aaaa"},
      {{30, true}, 0, "aaaa"},  // raw changes nothing without a header
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.out.row);
    AudioStream s(c.out);
    const std::string body = stream(s, c.out.row, 3, 1000);
    EXPECT_EQ(body.size(), c.body_start + 3000);
    EXPECT_EQ(body.substr(0, std::string(c.start_with).size()), c.start_with);
    EXPECT_EQ(body.substr(c.body_start + 1000, 2), "bb");
    EXPECT_EQ(s.audio_bytes(), 3000u);
    EXPECT_EQ(s.body_bytes(), body.size());
    EXPECT_EQ(s.final_header().size(), has_wave_header(c.out) ? c.body_start : 0);
  }
}

// Players read a streamed file to its end, and the finished file's header gives its length.
TEST(AudioStream, StreamedAndFinishedFilesPlayToTheirEnd) {
  if (!exists("/usr/bin/sox")) GTEST_SKIP() << "sox not installed: the files are not read back";
  Temp_Dir dir;
  for (const uint32_t row : {4u, 12u}) {
    SCOPED_TRACE(row);
    AudioStream s(AudioOutput{row, false});
    std::string body = stream(s, row, 2, 8000);  // 16000 bytes
    const double seconds = 16000.0 / audio_byte_rate(row);
    EXPECT_NEAR(sox_seconds(dir.write("streamed.wav", body)), seconds, 0.001);
    const std::string header = s.final_header();
    body.replace(0, header.size(), header);
    EXPECT_NEAR(sox_seconds(dir.write("final.wav", body)), seconds, 0.001);
    EXPECT_EQ(le32(read_bytes(dir.file("final.wav")), 4), body.size() - 8);
  }
}

TEST(AudioStream, RefusesHeadersItCannotPatch) {
  for (std::string h : {std::string("RIFF"), std::string("RIFX....WAVEdata....", 20),
                        std::string("RIFF....WAVEfmt \x10\0\0\0", 20), std::string("RIFF....WAVEdata....xx", 22)}) {
    EXPECT_FALSE(set_wave_sizes(&h, 1, 2, 3)) << h;
  }
}

TEST(SpeechMarks, TimesSentencesFromTheAudioBeforeThem) {
  const std::string text = "First one. Second one here.";
  SpeechMarks marks(4, text);   // 32000 bytes a second
  marks.add_sentence(0, 0, 0);  // the header piece
  marks.add_sentence(0, 10, 32000);
  marks.add_mark("here", 23);
  marks.add_sentence(11, 27, 16000);
  marks.add_sentence(27, 99, 0);  // outside the text: no mark
  EXPECT_EQ(nlohmann::json::parse(marks.json()), nlohmann::json::parse(R"({"duration_ms":1500,"marks":[
      {"time":0,"type":"sentence","start":0,"end":10,"value":"First one."},
      {"time":1000,"type":"ssml","start":23,"end":23,"value":"here"},
      {"time":1000,"type":"sentence","start":11,"end":27,"value":"Second one here."}]})"));
  const auto answer = nlohmann::json::parse(marks_answer(marks.json(), "/v1/audio/abc.wav", "audio/wav"));
  EXPECT_EQ(answer["audio_url"], "/v1/audio/abc.wav");
  EXPECT_EQ(answer["media_type"], "audio/wav");
  EXPECT_EQ(answer["marks"].size(), 3u);
  EXPECT_EQ(nlohmann::json::parse(marks_answer("not json", "/u", "audio/wav"))["marks"].size(), 0u);
}

TEST(SpeechMarks, ByteRatesOfEveryKindOfRow) {
  const struct {
    uint32_t row;
    double rate;
  } cases[] = {{1, 8000},  {4, 32000}, {12, 8000}, {17, 4000}, {19, 3000}, {21, 3000}, {24, 1600},
               {26, 3050}, {27, 2000}, {29, 3000}, {30, 4000}, {0, 0},     {31, 0}};
  for (const auto& c : cases) EXPECT_EQ(audio_byte_rate(c.row), c.rate) << c.row;
}

}  // namespace
}  // namespace tavn::server
