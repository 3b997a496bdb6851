// The engine library's eight operations, called directly.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "engine_test_util.h"
#include "engines/espeak/engine_codes.h"
#include "synth/kavritts.h"

using namespace espeak_engine;
using engine_test::connect;
using engine_test::Piece;
using engine_test::speak;

namespace {

class EngineApi : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TTSInitialize(), 0u); }
};

// Runs first in its process (ctest gives every test one); when the engine
// was started already it checks only the restart.
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
  EXPECT_EQ(TTSInitialize(), 0u);  // already running
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
  ASSERT_NE(h2, 0u);
  EXPECT_EQ(speak(h2, "Again.", &pieces), 0u);
  EXPECT_EQ(pieces.size(), 2u);
  EXPECT_EQ(TTSDisconnect(h2), 0u);
}

TEST_F(EngineApi, ConnectReadsItsParametersAndRefusesBadOnes) {
  const struct {
    const char* params;
    uint32_t error;
    uint32_t format;  // reported by TTSGetParam when connected
  } cases[] = {
      {"", 0, 4},
      {"voice=en,rate=170,5=4", 0, 4},
      {"voice=cmn,5=12", 0, 12},
      {"5=0", 0, 4},
      {"5=22,colour=red", 0, 22},
      {"5=101", 0, 4},
      {"5=104", 0, 4},
      {"voice=xx-nosuch", ENGINE_ERR_UNKNOWN_VOICE, 0},
      {"voice=../voices/en", ENGINE_ERR_UNKNOWN_VOICE, 0},
      {"5=23", ENGINE_ERR_FORMAT_REFUSED, 0},
      {"5=30", ENGINE_ERR_FORMAT_REFUSED, 0},
      {"5=31", ENGINE_ERR_FORMAT_REFUSED, 0},
      {"rate=10", ENGINE_ERR_BAD_VALUE, 0},
  };
  for (const auto& c : cases) {
    uint32_t error = 0xFFFFFFFFu;
    const uint32_t h = connect(c.params, &error);
    if (c.error != 0) {
      EXPECT_EQ(h, 0u) << c.params;
      EXPECT_EQ(error, c.error) << c.params;
      continue;
    }
    ASSERT_NE(h, 0u) << c.params;
    uint32_t format = 0, size = 4;
    EXPECT_EQ(TTSGetParam(h, 5, &format, &size), 0u);
    EXPECT_EQ(format, c.format) << c.params;
    EXPECT_EQ(TTSDisconnect(h), 0u);
  }
  // The parameter string is read only within its 128 bytes.
  TTSConnectRecord r;
  std::memset(&r, 'x', sizeof r);
  std::memcpy(r.params, "voice=en,", 9);
  const uint32_t h = TTSConnect(&r);
  EXPECT_NE(h, 0u);
  EXPECT_EQ(TTSDisconnect(h), 0u);
  EXPECT_EQ(TTSConnect(nullptr), 0u);
}

TEST_F(EngineApi, AudioFormatParameter) {
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  const struct {
    uint32_t id, value, result, format_after;
  } steps[] = {
      {5, 3, 0, 3},
      {5, 0, 0, 4},
      {5, 22, 0, 22},
      {5, 23, ENGINE_ERR_FORMAT_REFUSED, 22},
      {5, 101, ENGINE_ERR_FORMAT_REFUSED, 22},  // only a connect takes 101-104
      {5, 0xFFFFFFFFu, ENGINE_ERR_FORMAT_REFUSED, 22},
      {6, 3, ENGINE_ERR_UNKNOWN_PARAM, 22},
      {5, 1, 0, 1},
  };
  for (const auto& s : steps) {
    EXPECT_EQ(TTSSetSynthParam(h, s.id, s.value), s.result) << s.id << "=" << s.value;
    uint32_t format = 0, size = 4;
    EXPECT_EQ(TTSGetParam(h, 5, &format, &size), 0u);
    EXPECT_EQ(format, s.format_after);
    EXPECT_EQ(size, 4u);
  }
  uint32_t value = 77, size = 2;
  EXPECT_EQ(TTSGetParam(h, 5, &value, &size), ENGINE_ERR_SIZE);
  EXPECT_EQ(value, 77u);
  size = 4;
  EXPECT_EQ(TTSGetParam(h, 6, &value, &size), ENGINE_ERR_UNKNOWN_PARAM);
  EXPECT_EQ(TTSGetParam(h, 5, nullptr, &size), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(TTSGetParam(h, 5, &value, nullptr), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

TEST_F(EngineApi, UnknownHandlesAreRefusedByEveryOperation) {
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  ASSERT_EQ(TTSDisconnect(h), 0u);
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  uint32_t v = 0, size = 4;
  for (uint32_t bad : {0u, h, 0xFFFFFFFFu}) {
    EXPECT_EQ(TTSSetSynthParam(bad, 5, 3), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSGetParam(bad, 5, &v, &size), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSSynthText(bad, &rec), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSFetchNext(bad, &rec), ENGINE_ERR_BAD_HANDLE);
    EXPECT_EQ(TTSDisconnect(bad), ENGINE_ERR_BAD_HANDLE);
  }
  const uint32_t h2 = connect("");
  EXPECT_NE(h2, h);  // numbers are not reused at once
  EXPECT_EQ(TTSSynthText(h2, nullptr), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(TTSFetchNext(h2, nullptr), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(TTSFetchNext(h2, &rec), ENGINE_ERR_NO_REQUEST);  // nothing started
  rec.text_length = 5;  // and no text
  EXPECT_EQ(TTSSynthText(h2, &rec), ENGINE_ERR_NULL_ARGUMENT);
  EXPECT_EQ(TTSDisconnect(h2), 0u);
}

TEST_F(EngineApi, OnePiecePerSentenceEachWithTheHeader) {
  const std::string text = "  Hello world. This is a test!\n\nThird one?  ";
  const struct {
    uint32_t format;
    uint16_t header;
    uint32_t byte_rate, sample_unit_bytes;
  } cases[] = {{4, 44, 32000, 2}, {12, 58, 8000, 1}, {19, 0, 3000, 3}, {22, 0, 4000, 1}};
  double seconds_of_first = 0;
  for (const auto& c : cases) {
    const uint32_t h = connect("5=" + std::to_string(c.format));
    ASSERT_NE(h, 0u);
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, text, &pieces), 0u) << c.format;
    ASSERT_EQ(pieces.size(), 4u) << c.format;
    // The first piece: the header alone (nothing at all without one).
    const Piece& head = pieces[0];
    EXPECT_EQ(head.status, 1u);
    EXPECT_EQ(head.bytes.size(), c.header);
    EXPECT_EQ(head.non_audio, c.header);
    if (c.header != 0) {
      EXPECT_EQ(std::memcmp(head.bytes.data(), "RIFF", 4), 0);
      EXPECT_EQ(std::memcmp(&head.bytes[c.header - 8], "data", 4), 0);
    }
    const uint32_t begins[] = {2, 15, 32}, ends[] = {14, 30, 42};
    size_t audio = 0;
    for (size_t i = 1; i < pieces.size(); ++i) {
      const Piece& p = pieces[i];
      EXPECT_EQ(p.status, i + 1 < pieces.size() ? 1u : 0u) << c.format << " piece " << i;
      EXPECT_EQ(p.begin, begins[i - 1]);
      EXPECT_EQ(p.end, ends[i - 1]);
      EXPECT_EQ(p.non_audio, c.header);
      ASSERT_GT(p.bytes.size(), c.header + c.byte_rate / 10u);  // some speech
      EXPECT_TRUE(std::equal(head.bytes.begin(), head.bytes.end(), p.bytes.begin()));
      EXPECT_EQ((p.bytes.size() - c.header) % c.sample_unit_bytes, 0u);
      audio += p.bytes.size() - c.header;
    }
    // The same speech in every format.
    const double seconds = double(audio) / c.byte_rate;
    if (seconds_of_first == 0) seconds_of_first = seconds;
    EXPECT_NEAR(seconds, seconds_of_first, 0.05) << c.format;
    // After the last piece there is nothing to fetch.
    TTSSynthRecord rec;
    std::memset(&rec, 0, sizeof rec);
    EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);
    EXPECT_EQ(TTSDisconnect(h), 0u);
  }
}

TEST_F(EngineApi, TextsWithoutSentences) {
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  for (const std::string& text : {std::string(), std::string(" \n\t "), std::string("\0\0", 2)}) {
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, text, &pieces), 0u);
    ASSERT_EQ(pieces.size(), 1u);
    EXPECT_EQ(pieces[0].status, 0u);
    EXPECT_EQ(pieces[0].bytes.size(), 44u);
  }
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);  // no text pointer, length 0
  EXPECT_EQ(TTSSynthText(h, &rec), 0u);
  EXPECT_EQ(rec.status, 0u);
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

TEST_F(EngineApi, TheTextIsCopiedAndTheFormatFixedWhileSpeaking) {
  const uint32_t h = connect("");
  ASSERT_NE(h, 0u);
  char text[] = "One. Two.";
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.text = text;
  rec.text_length = sizeof text - 1;
  ASSERT_EQ(TTSSynthText(h, &rec), 0u);
  std::memset(text, 0, sizeof text);  // the caller's buffer may change
  EXPECT_EQ(TTSSetSynthParam(h, 5, 3), ENGINE_ERR_BUSY);
  ASSERT_EQ(TTSFetchNext(h, &rec), 0u);
  EXPECT_EQ(rec.sentence_begin, 0u);
  EXPECT_EQ(rec.sentence_end, 4u);
  EXPECT_GT(rec.audio_length, 44u + 3200u);  // real speech, not silence of a blank text
  ASSERT_EQ(TTSFetchNext(h, &rec), 0u);
  EXPECT_EQ(rec.status, 0u);
  EXPECT_EQ(TTSSetSynthParam(h, 5, 3), 0u);  // finished: free to change
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

TEST_F(EngineApi, ChineseSentencesByteOffsets) {
  const uint32_t h = connect("voice=cmn,5=11");
  ASSERT_NE(h, 0u);
  const std::string text = "你好世界。这是一个测试！";
  std::vector<Piece> pieces;
  ASSERT_EQ(speak(h, text, &pieces), 0u);
  ASSERT_EQ(pieces.size(), 3u);
  EXPECT_EQ(pieces[1].begin, 0u);
  EXPECT_EQ(pieces[1].end, 15u);
  EXPECT_EQ(pieces[2].begin, 15u);
  EXPECT_EQ(pieces[2].end, text.size());
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

TEST_F(EngineApi, AStretchWithoutStopsIsSpokenInBoundedPieces) {
  std::string text;
  while (text.size() < 1500) text += "many words without any stop ";
  const uint32_t h = connect("rate=450,5=1");  // fast and small: this is about pieces
  ASSERT_NE(h, 0u);
  std::vector<Piece> pieces;
  ASSERT_EQ(speak(h, text, &pieces), 0u);
  ASSERT_GE(pieces.size(), 4u);
  size_t largest = 0, total = 0;
  for (size_t i = 1; i < pieces.size(); ++i) {
    EXPECT_LE(pieces[i].end - pieces[i].begin, 600u);
    if (i > 1) {
      EXPECT_GT(pieces[i].begin, pieces[i - 1].end);
    }
    largest = std::max(largest, pieces[i].bytes.size());
    total += pieces[i].bytes.size();
  }
  EXPECT_LT(largest, total / 2);
  EXPECT_EQ(TTSDisconnect(h), 0u);
}

TEST_F(EngineApi, ConnectionsOnManyThreadsKeepTheirOwnSettings) {
  // Each thread speaks its own text with its own voice, format and rate, two
  // times; its pieces must carry its own sentences and last about as long as
  // when it speaks alone.  libespeak-ng carries a little prosody from one
  // sentence to the next, so sentences of other connections spoken in
  // between change the timing by some tens of milliseconds; another
  // connection's rate would change it by far more.
  struct Job {
    std::string params, text;
    uint32_t byte_rate;
    std::vector<std::string> sentences;
  };
  struct Outcome {
    double alone = 0;  // seconds, spoken with no other thread
    uint32_t result = 1;
    std::vector<Piece> pieces;
  };
  const std::vector<Job> jobs = {
      {"voice=en,5=4", "One two. Three four.", 32000, {"One two.", "Three four."}},
      {"voice=cmn,5=12", "你好。世界。再见。", 8000, {"你好。", "世界。", "再见。"}},
      {"voice=en-us,rate=300,5=1", "A quick test.", 8000, {"A quick test."}},
      {"voice=de,5=19", "Guten Tag. Wie geht es? Gut.", 3000, {"Guten Tag.", "Wie geht es?", "Gut."}},
      {"voice=en,pitch=90,5=21", "High voice. Again.", 3000, {"High voice.", "Again."}},
      {"voice=fr,5=9", "Bonjour. Merci.", 16000, {"Bonjour.", "Merci."}},
      {"voice=en,volume=50,5=6", "Quiet now.", 22050, {"Quiet now."}},
      {"voice=cmn,rate=250,5=22", "谢谢！不客气。", 4000, {"谢谢！", "不客气。"}},
  };
  auto seconds = [](const Job& j, const Outcome& o) {
    double s = 0;
    for (size_t i = 1; i < o.pieces.size(); ++i)
      s += double(o.pieces[i].bytes.size() - o.pieces[i].non_audio) / j.byte_rate;
    return s;
  };
  auto run = [](const Job& j, Outcome* o) {
    const uint32_t h = connect(j.params);
    if (h == 0) return;
    for (int round = 0; round < 2; ++round) {
      o->pieces.clear();
      o->result = speak(h, j.text, &o->pieces);
      if (o->result != 0) break;
    }
    TTSDisconnect(h);
  };
  std::vector<Outcome> outcomes(jobs.size());
  for (size_t k = 0; k < jobs.size(); ++k) {
    run(jobs[k], &outcomes[k]);
    ASSERT_EQ(outcomes[k].result, 0u) << jobs[k].params;
    outcomes[k].alone = seconds(jobs[k], outcomes[k]);
  }
  std::vector<std::thread> threads;
  for (size_t k = 0; k < jobs.size(); ++k) threads.emplace_back(run, jobs[k], &outcomes[k]);
  for (std::thread& t : threads) t.join();
  for (size_t k = 0; k < jobs.size(); ++k) {
    const Job& j = jobs[k];
    const Outcome& o = outcomes[k];
    ASSERT_EQ(o.result, 0u) << j.params;
    ASSERT_EQ(o.pieces.size(), j.sentences.size() + 1) << j.params;
    for (size_t i = 1; i < o.pieces.size(); ++i) {
      const Piece& p = o.pieces[i];
      ASSERT_LE(p.end, j.text.size());
      EXPECT_EQ(j.text.substr(p.begin, p.end - p.begin), j.sentences[i - 1]) << j.params;
    }
    EXPECT_NEAR(seconds(j, o), o.alone, 0.1 * o.alone) << j.params;
  }
}

}  // namespace
