// The engine library's eight operations, called directly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "synth/kavritts.h"

using namespace tavn::speech;

namespace {

uint32_t connect(const std::string& params, uint32_t* error = nullptr) {
  TTSConnectRecord r{};
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
// The caller's text is blanked once the request has started (the engine keeps
// its own copy), and the format stays fixed while the request runs.
uint32_t speak(uint32_t handle, const std::string& text, std::vector<Piece>* pieces) {
  std::string own = text;
  TTSSynthRecord rec{};
  rec.text = own.c_str();
  rec.text_length = static_cast<uint32_t>(own.size());
  for (uint32_t r = TTSSynthText(handle, &rec);; r = TTSFetchNext(handle, &rec)) {
    own.assign(own.size(), ' ');
    if (r != 0) return r;
    pieces->push_back({rec.status, rec.sentence_begin, rec.sentence_end, rec.non_audio_bytes,
                       std::vector<uint8_t>(rec.audio, rec.audio + rec.audio_length)});
    if (rec.status != 1) return 0;
    EXPECT_EQ(TTSSetSynthParam(handle, 5, 3), ENGINE_ERR_BUSY);
  }
}

TEST(EngineApi, ParamsHandlesAndRestart) {
  ASSERT_EQ(TTSInitialize(), 0u);
  EXPECT_EQ(TTSInitialize(), 0u);
  EXPECT_EQ(TTSConnect(nullptr), 0u);
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  const struct {
    uint32_t id, value, result, format_after;
  } steps[] = {
      {5, 3, 0, 3},
      {5, 0, 0, 4},
      {5, 30, 0, 30},
      {5, 31, ENGINE_ERR_FORMAT_REFUSED, 30},
      {5, 101, ENGINE_ERR_FORMAT_REFUSED, 30},  // only a connect takes 101-104
      {6, 3, ENGINE_ERR_UNKNOWN_PARAM, 30},
  };
  for (const auto& s : steps) {
    SCOPED_TRACE(testing::Message() << s.id << "=" << s.value);
    EXPECT_EQ(TTSSetSynthParam(h, s.id, s.value), s.result) << s.id << "=" << s.value;
    EXPECT_EQ(format_of(h), s.format_after);
  }
  uint32_t value = 77, size = 2;
  EXPECT_EQ(TTSGetParam(h, 5, &value, &size), ENGINE_ERR_SIZE);
  EXPECT_EQ(value, 77u);
  EXPECT_EQ(TTSGetParam(h, 5, nullptr, &size), ENGINE_ERR_NULL_ARGUMENT);
  TTSSynthRecord rec{};
  EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);  // nothing started
  rec.text_length = 5;                                      // and no text
  EXPECT_EQ(TTSSynthText(h, &rec), ENGINE_ERR_NULL_ARGUMENT);

  // Stopping forgets every connection; starting again works.
  EXPECT_EQ(TTSUninitialize(), 0u);
  EXPECT_EQ(TTSDisconnect(h), ENGINE_ERR_BAD_HANDLE);
  uint32_t error = 0;
  EXPECT_EQ(connect("", &error), 0u);
  EXPECT_EQ(error, ENGINE_ERR_NOT_INITIALIZED);
  ASSERT_EQ(TTSInitialize(), 0u);
  std::vector<Piece> pieces;
  EXPECT_EQ(speak(connect(""), "Again.", &pieces), 0u);
  EXPECT_EQ(pieces.size(), 2u);
}

TEST(EngineApi, OnePiecePerSentenceEachStartingWithTheHeader) {
  ASSERT_EQ(TTSInitialize(), 0u);
  const std::string text = "  Hello world. This is a test!\n\nThird one?  ";
  const uint32_t spans[][2] = {{2, 14}, {15, 30}, {32, 42}};
  // The first piece is the header alone (the file magic for AMR, which no
  // later piece repeats); every later piece starts with the header.
  const struct {
    const char* params;
    uint32_t first, header, byte_rate;
  } cases[] = {{"5=4", 44, 44, 32000},
               {"5=12", 58, 58, 8000},
               {"voice=flite:slt,5=19", 0, 0, 3000},
               {"voice=flite:kal,5=24", 6, 0, 1600}};
  for (const auto& [params, first, header, byte_rate] : cases) {
    SCOPED_TRACE(params);
    const uint32_t h = connect(params);
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, text, &pieces), 0u) << params;
    ASSERT_EQ(pieces.size(), 4u) << params;
    EXPECT_EQ(pieces[0].bytes.size(), first);
    EXPECT_EQ(pieces[0].non_audio, first);
    for (size_t i = 1; i < pieces.size(); ++i) {
      const Piece& p = pieces[i];
      EXPECT_EQ(p.status, i == 3 ? 0u : 1u) << params;
      EXPECT_EQ(p.non_audio, header) << params;
      EXPECT_EQ(p.begin, spans[i - 1][0]) << params;
      EXPECT_EQ(p.end, spans[i - 1][1]) << params;
      ASSERT_GT(p.bytes.size(), header + byte_rate / 2) << "half a second of speech";
      EXPECT_TRUE(std::equal(pieces[0].bytes.begin(), pieces[0].bytes.begin() + header, p.bytes.begin()));
    }
    if (first == 6) {
      EXPECT_EQ(std::string(pieces[0].bytes.begin(), pieces[0].bytes.end()), "#!AMR\n");
    }
    TTSSynthRecord rec{};
    EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);  // after the last piece
    EXPECT_EQ(TTSSetSynthParam(h, 5, 3), 0u);                 // finished: free to change
    EXPECT_EQ(TTSDisconnect(h), 0u);
  }
  uint32_t error = 0;
  EXPECT_EQ(connect("voice=flite:nobody", &error), 0u);
  EXPECT_EQ(error, ENGINE_ERR_UNKNOWN_VOICE);
}

}  // namespace
