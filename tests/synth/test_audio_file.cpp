// The audio file that TTSSynth2File writes from the engine's pieces.
#include <gtest/gtest.h>

#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "tests/support/test_support.h"

using tavn::synth::ERR_OPEN_FILE;
using tavn::synth::ERR_OUTPUT_TOO_SHORT;

namespace {

using scripted::make_piece;
using scripted::Piece;

class AudioFile : public ::testing::Test {
 protected:
  void SetUp() override { scripted::reset(); }
  uint32_t run(std::vector<Piece> pieces) {
    scripted::set_script(std::move(pieces));
    return Talvern_Impl("Some text.", false, out().c_str(), nullptr, nullptr, nullptr, nullptr);
  }
  std::string out() const { return dir_.file("a.wav"); }
  Temp_Dir dir_;
};

TEST_F(AudioFile, HeaderHandling) {
  struct Case {
    const char* name;
    std::vector<Piece> pieces;
    size_t size;  // expected file size
    int header;   // expected header length patched (0: none)
  } cases[] = {
      {"no headers", {make_piece(1, 0, 100), make_piece(1, 0, 100), make_piece(0, 0, 50)}, 250, 0},
      {"44 in every piece", {make_piece(1, 44, 0), make_piece(1, 44, 300), make_piece(0, 44, 200)}, 544, 44},
      // Later pieces are assumed to carry the same header and lose 44 bytes.
      {"44 in the first only", {make_piece(1, 44, 100), make_piece(1, 0, 300), make_piece(0, 0, 200)}, 556, 44},
      {"58 in every piece", {make_piece(1, 58, 10), make_piece(1, 58, 300), make_piece(0, 58, 200)}, 568, 58},
      {"last piece only", {make_piece(0, 44, 400)}, 444, 44},
      {"empty pieces skipped",
       {make_piece(1, 44, 0), make_piece(1, 0, 0), make_piece(1, 44, 300), make_piece(0, 0, 0)},
       344,
       44},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(run(c.pieces), 0u) << c.name;
    std::vector<uint8_t> f = read_bytes(out());
    ASSERT_EQ(f.size(), c.size) << c.name;
    if (c.header == 0) {
      EXPECT_EQ(f[0], 0x11) << c.name;  // sound bytes untouched
      continue;
    }
    EXPECT_EQ(le32(f, 4), c.size - 8) << c.name;
    EXPECT_EQ(le32(f, c.header - 4), c.size - c.header) << c.name;
    if (c.header == 58) {
      EXPECT_EQ(le32(f, 46), c.size - 58) << c.name;
    }
    for (size_t i = c.header; i < f.size(); ++i) ASSERT_EQ(f[i], 0x11) << c.name << " at " << i;
  }
}

TEST_F(AudioFile, LaterPieceShorterThanTheHeaderWritesNothing) {
  Piece tiny = make_piece(1, 0, 20);
  ASSERT_EQ(run({make_piece(1, 44, 0), make_piece(1, 44, 300), tiny, make_piece(0, 44, 200)}), 0u);
  EXPECT_EQ(read_bytes(out()).size(), 544u);
}

TEST_F(AudioFile, TooShortWithoutSynch) {
  struct Case {
    uint32_t sound;
    uint32_t want;
  } cases[] = {
      {155, ERR_OUTPUT_TOO_SHORT},  // 44 + 155 = 199 bytes
      {156, 0},                     // 200 bytes
      {0, ERR_OUTPUT_TOO_SHORT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sound);
    EXPECT_EQ(run({make_piece(1, 44, 0), make_piece(0, 44, c.sound)}), c.want) << c.sound;
    std::vector<uint8_t> f = read_bytes(out());
    ASSERT_EQ(f.size(), 44u + c.sound);  // kept and patched either way
    EXPECT_EQ(le32(f, 40), c.sound);
  }
}

TEST_F(AudioFile, EngineFailuresLeaveTheFile) {
  std::vector<Piece> script = {make_piece(1, 44, 300), make_piece(1, 44, 300), make_piece(0, 44, 300)};
  struct Case {
    scripted::Op op;
    uint32_t nth;
    size_t size;
  } cases[] = {
      {scripted::Op::SynthText, 1, 0},    // closed, empty
      {scripted::Op::FetchNext, 1, 344},  // the first piece was written, unpatched
      {scripted::Op::FetchNext, 2, 644},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "call " << c.nth << " of operation " << static_cast<int>(c.op));
    scripted::reset();
    scripted::fail(c.op, 0x80001111u, c.nth);
    scripted::fail(scripted::Op::Disconnect, 0x80000009u);  // the synthesis result wins
    EXPECT_EQ(run(script), 0x80001111u);
    EXPECT_EQ(scripted::record().open_handles, 0);
    std::vector<uint8_t> f = read_bytes(out());
    ASSERT_EQ(f.size(), c.size);
    if (c.size) {
      EXPECT_EQ(le32(f, 4), 0u);  // never patched
    }
  }
}

TEST_F(AudioFile, UnwritableOutput) {
  std::string bad = dir_.file("no/such/dir/a.wav");
  EXPECT_EQ(Talvern_Impl("x", false, bad.c_str(), nullptr, nullptr, nullptr, nullptr), ERR_OPEN_FILE);
  EXPECT_EQ(scripted::record().synth_text, 0);
  EXPECT_EQ(scripted::record().open_handles, 0);
}

TEST_F(AudioFile, AsksTheEngineForTheFormatOnce) {
  ASSERT_EQ(run({make_piece(0, 44, 300)}), 0u);
  scripted::Record r = scripted::record();
  ASSERT_EQ(r.get_params.size(), 1u);
  EXPECT_EQ(r.get_params[0].id, 5u);
  EXPECT_EQ(r.get_params[0].size_in, 4u);
}

}  // namespace
