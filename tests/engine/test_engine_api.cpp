// The engine library's eight operations, called directly.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "engines/espeak/engine_codes.h"
#include "synth/kavritts.h"

using namespace espeak_engine;

namespace {

uint32_t connect(const std::string& params, uint32_t* error = nullptr) {
  TTSConnectRecord r;
  std::memset(&r, 0, sizeof r);
  r.record_tag = 0x101;
  std::snprintf(r.params, sizeof r.params, "%s", params.c_str());
  const uint32_t h = TTSConnect(&r);
  if (error != nullptr) *error = r.error_code;
  return h;
}

uint32_t format_of(uint32_t handle) {
  uint32_t format = 0, size = 4;
  EXPECT_EQ(TTSGetParam(handle, 5, &format, &size), 0u);
  EXPECT_EQ(size, 4u);
  return format;
}

struct Piece {
  uint32_t status, begin, end;
  uint16_t non_audio;
  std::vector<uint8_t> bytes;
};

// Every piece of one request, the first included; the first failure, or 0.
uint32_t speak(uint32_t handle, const std::string& text, std::vector<Piece>* pieces) {
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.text = text.c_str();
  rec.text_length = static_cast<uint32_t>(text.size());
  for (uint32_t r = TTSSynthText(handle, &rec);; r = TTSFetchNext(handle, &rec)) {
    if (r != 0) return r;
    pieces->push_back({rec.status, rec.sentence_begin, rec.sentence_end, rec.non_audio_bytes,
                       std::vector<uint8_t>(rec.audio, rec.audio + rec.audio_length)});
    if (rec.status != 1) return 0;
  }
}

class EngineApi : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TTSInitialize(), 0u); }
};

// ctest runs each test in a process of its own, so the engine is not
// started yet here; run together with others, only the restart is checked.
TEST(EngineStart, NeedsVoiceDataAndCanRestart) {
  uint32_t error = 0;
  if (connect("", &error) == 0) {
    EXPECT_EQ(error, ENGINE_ERR_NOT_INITIALIZED);
    mkdir("empty-voice-data", 0755);
    for (const char* dir : {"no-such-folder", "empty-voice-data"}) {
      setenv("TAVN_ESPEAK_DATA", dir, 1);
      EXPECT_EQ(TTSInitialize(), ENGINE_ERR_NO_VOICE_DATA) << dir;
    }
    unsetenv("TAVN_ESPEAK_DATA");
  }
  ASSERT_EQ(TTSInitialize(), 0u);
  EXPECT_EQ(TTSInitialize(), 0u);
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  // Stopping forgets every connection; starting again works.
  EXPECT_EQ(TTSUninitialize(), 0u);
  EXPECT_EQ(TTSDisconnect(h), ENGINE_ERR_BAD_HANDLE);
  EXPECT_EQ(connect("", &error), 0u);
  EXPECT_EQ(error, ENGINE_ERR_NOT_INITIALIZED);
  ASSERT_EQ(TTSInitialize(), 0u);
  std::vector<Piece> pieces;
  const uint32_t h2 = connect("");
  EXPECT_EQ(speak(h2, "Again.", &pieces), 0u);
  EXPECT_EQ(pieces.size(), 2u);
  EXPECT_EQ(TTSDisconnect(h2), 0u);
}

TEST_F(EngineApi, ConnectionsFormatsAndHandles) {
  const struct {
    const char* params;
    uint32_t error, format;
  } connects[] = {
      {"", 0, 4},          {"voice=cmn,5=12", 0, 12}, {"5=101", 0, 4},
      {"5=0", 0, 4},       {"voice=xx-nosuch", ENGINE_ERR_UNKNOWN_VOICE, 0},
      {"5=23", ENGINE_ERR_FORMAT_REFUSED, 0},          {"rate=10", ENGINE_ERR_BAD_VALUE, 0},
  };
  for (const auto& c : connects) {
    uint32_t error = 0xFFFFFFFFu;
    const uint32_t h = connect(c.params, &error);
    EXPECT_EQ(h == 0 ? error : 0u, c.error) << c.params;
    if (h != 0) {
      EXPECT_EQ(format_of(h), c.format) << c.params;
      EXPECT_EQ(TTSDisconnect(h), 0u);
    }
  }
  EXPECT_EQ(TTSConnect(nullptr), 0u);

  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  const struct {
    uint32_t id, value, result, format_after;
  } steps[] = {
      {5, 3, 0, 3},  {5, 0, 0, 4},  {5, 22, 0, 22}, {5, 23, ENGINE_ERR_FORMAT_REFUSED, 22},
      {5, 101, ENGINE_ERR_FORMAT_REFUSED, 22},  // only a connect takes 101-104
      {6, 3, ENGINE_ERR_UNKNOWN_PARAM, 22},
  };
  for (const auto& s : steps) {
    EXPECT_EQ(TTSSetSynthParam(h, s.id, s.value), s.result) << s.id << "=" << s.value;
    EXPECT_EQ(format_of(h), s.format_after);
  }
  uint32_t value = 77, size = 2;
  EXPECT_EQ(TTSGetParam(h, 5, &value, &size), ENGINE_ERR_SIZE);
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(TTSGetParam(h, 5, nullptr, &size), ENGINE_ERR_NULL_ARGUMENT);

  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);  // nothing started
  rec.text_length = 5;                                       // and no text
  EXPECT_EQ(TTSSynthText(h, &rec), ENGINE_ERR_NULL_ARGUMENT);
  ASSERT_EQ(TTSDisconnect(h), 0u);
  for (uint32_t bad : {0u, h, 0xFFFFFFFFu}) {
    EXPECT_EQ(TTSSetSynthParam(bad, 5, 3), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSGetParam(bad, 5, &value, &size), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSSynthText(bad, &rec), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSFetchNext(bad, &rec), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSDisconnect(bad), ENGINE_ERR_BAD_HANDLE);
  }
}

TEST_F(EngineApi, OnePiecePerSentenceEachStartingWithTheHeader) {
  const std::string text = "  Hello world. This is a test!\n\nThird one?  ";
  const uint32_t begins[] = {2, 15, 32}, ends[] = {14, 30, 42};
  const struct {
    uint32_t format, header, byte_rate, unit_bytes;
  } cases[] = {{4, 44, 32000, 2}, {12, 58, 8000, 1}, {19, 0, 3000, 3}, {22, 0, 4000, 1}};
  double first_seconds = 0;
  for (const auto& c : cases) {
    const uint32_t h = connect("5=" + std::to_string(c.format));
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, text, &pieces), 0u) << c.format;
    ASSERT_EQ(pieces.size(), 4u) << c.format;
    // The first piece is the header alone (nothing without one).
    const Piece& head = pieces[0];
    EXPECT_EQ(head.status, 1u);
    EXPECT_EQ(head.bytes.size(), c.header);
    EXPECT_EQ(head.non_audio, c.header);
    double seconds = 0;
    for (size_t i = 1; i < pieces.size(); ++i) {
      const Piece& p = pieces[i];
      EXPECT_EQ(p.status, i == 3 ? 0u : 1u) << c.format;
      EXPECT_EQ(p.begin, begins[i - 1]) << c.format;
      EXPECT_EQ(p.end, ends[i - 1]) << c.format;
      EXPECT_EQ(p.non_audio, c.header);
      ASSERT_GT(p.bytes.size(), c.header + c.byte_rate / 2) << "half a second of speech";
      EXPECT_TRUE(std::equal(head.bytes.begin(), head.bytes.end(), p.bytes.begin()));
      EXPECT_EQ((p.bytes.size() - c.header) % c.unit_bytes, 0u);
      seconds += double(p.bytes.size() - c.header) / c.byte_rate;
    }
    if (first_seconds == 0) first_seconds = seconds;
    EXPECT_NEAR(seconds, first_seconds, 0.05) << c.format << ": the same speech in every format";
    TTSSynthRecord rec;
    std::memset(&rec, 0, sizeof rec);
    EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);  // after the last piece
    EXPECT_EQ(TTSDisconnect(h), 0u);
  }
}

TEST_F(EngineApi, BlankTextsCopiedTextsAndTheFormatWhileSpeaking) {
  const uint32_t h = connect("");
  for (const std::string& blank : {std::string(), std::string(" \n\t\0", 4)}) {
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, blank, &pieces), 0u);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pieces[0].status, 0u);
    EXPECT_EQ(pieces[0].bytes.size(), 44u);
  }
  char text[] = "One. Two.";
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.text = text;
  rec.text_length = sizeof text - 1;
  ASSERT_EQ(TTSSynthText(h, &rec), 0u);
  std::memset(text, ' ', sizeof text - 1);  // the engine keeps its own copy
  EXPECT_EQ(TTSSetSynthParam(h, 5, 3), ENGINE_ERR_BUSY);
  ASSERT_EQ(TTSFetchNext(h, &rec), 0u);
  EXPECT_EQ(rec.sentence_end, 4u);
  EXPECT_GT(rec.audio_length, 44u + 32000u / 4);
  ASSERT_EQ(TTSFetchNext(h, &rec), 0u);
  EXPECT_EQ(rec.status, 0u);
  EXPECT_EQ(TTSSetSynthParam(h, 5, 3), 0u);  // finished: free to change
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

}  // namespace
