// Talvern_Impl through the scripted engine: checks, limits, the connect
// record, the "5=" conversion path and the results of every failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "tests/support/test_support.h"

using tavn::synth::ERR_EMPTY_INPUT;
using tavn::synth::ERR_NULL_INPUT;
using tavn::synth::ERR_OPEN_FILE;

namespace {

class Driver : public ::testing::Test {
 protected:
  void SetUp() override { scripted::reset(); }
  std::string out() const { return dir_.file("out.wav"); }
  uint32_t speak(const char* text, const char* params = nullptr, bool is_file = false) {
    return Talvern_Impl(text, is_file, out().c_str(), "c1", "c2", params, nullptr);
  }
  Temp_Dir dir_;
};

TEST_F(Driver, RefusesMissingInputBeforeTheEngine) {
  const std::string o = out();
  struct Case {
    const char* text;
    const char* out;
    uint32_t want;
  } cases[] = {
      {nullptr, o.c_str(), ERR_NULL_INPUT}, {"x", nullptr, ERR_NULL_INPUT}, {nullptr, nullptr, ERR_NULL_INPUT},
      {"", o.c_str(), ERR_EMPTY_INPUT},     {"x", "", ERR_EMPTY_INPUT},     {"", nullptr, ERR_NULL_INPUT},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.text << " -> " << c.out);
    EXPECT_EQ(Talvern_Impl(c.text, false, c.out, nullptr, nullptr, nullptr, nullptr), c.want);
  }
  EXPECT_EQ(scripted::record().connect, 0);
}

TEST_F(Driver, TextFilesAndTheTextLimit) {
  EXPECT_EQ(speak(dir_.file("missing.txt").c_str(), nullptr, true), ERR_OPEN_FILE);
  write_file(dir_.file("empty.txt"), "");
  EXPECT_EQ(speak(dir_.file("empty.txt").c_str(), nullptr, true), ERR_EMPTY_INPUT);
  EXPECT_EQ(scripted::record().connect, 0);

  // At most 65536 bytes are used, from a string or a file, always terminated.
  for (size_t n : {size_t{12}, size_t{65536}, size_t{65537}, size_t{200000}}) {
    SCOPED_TRACE(n);
    std::string text(n, 'a');
    text[std::min<size_t>(n, 65536) - 1] = 'E';
    write_file(dir_.file("t.txt"), text);
    for (bool is_file : {false, true}) {
      SCOPED_TRACE(is_file);
      ASSERT_EQ(speak(is_file ? dir_.file("t.txt").c_str() : text.c_str(), nullptr, is_file), 0u);
      scripted::Record r = scripted::record();
      EXPECT_EQ(r.text_length, std::min<size_t>(n, 65536)) << n << is_file;
      EXPECT_EQ(r.text.back(), 'E') << n << is_file;
      EXPECT_EQ(r.text_terminator, 0) << n << is_file;
    }
  }
}

TEST_F(Driver, ConnectRecordCarriesTheStringsCut) {
  std::string c1(40, '1'), c2(60, '2'), params(200, 'p');
  ASSERT_EQ(Talvern_Impl("x", false, out().c_str(), c1.c_str(), c2.c_str(), params.c_str(), nullptr), 0u);
  // Tag 0x101, the three strings cut to 127, 47 and 31 characters; every
  // other byte zero.
  std::vector<uint8_t> want(412, 0);
  want[0] = 0x01;
  want[1] = 0x01;
  std::fill_n(want.begin() + 88, 127, 'p');
  std::fill_n(want.begin() + 216, 47, '2');
  std::fill_n(want.begin() + 296, 31, '1');
  EXPECT_EQ(scripted::record().connect_bytes, want);

  ASSERT_EQ(Talvern_Impl("x", false, out().c_str(), nullptr, nullptr, nullptr, nullptr), 0u);
  std::fill(want.begin() + 2, want.end(), 0);
  EXPECT_EQ(scripted::record().connect_bytes, want);
}

TEST_F(Driver, ConnectFailureReturnsTheEngineCode) {
  for (uint32_t code : {0x80001234u, 0u}) {
    SCOPED_TRACE(code);
    scripted::reset();
    scripted::fail(scripted::Op::Connect, code);
    EXPECT_EQ(speak("x"), code);
    EXPECT_EQ(scripted::record().synth_text, 0);
    EXPECT_FALSE(exists(out()));
  }
}

TEST_F(Driver, FormatProbe) {
  struct Case {
    const char* params;
    bool convert;
  } cases[] = {
      {"5=101", true},
      {"5=102", true},
      {"5=103", true},
      {"5=104", true},
      {"a=1,5=0000103", true},
      {"5=00000000000104", true},
      {"5=100", false},
      {"5=105", false},
      {"15=3,5=101", false},
      {"5=abc", false},
      {"5=", false},
      {"x=15=101", true},
      {"5=1010", false},
      {"5=123456789012345", false},
      {"", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.params);
    scripted::reset();
    remove(out().c_str());
    ASSERT_EQ(speak("x", c.params), 0u) << c.params;
    scripted::Record r = scripted::record();
    if (c.convert) {
      ASSERT_EQ(r.set_params.size(), 1u) << c.params;
      EXPECT_EQ(r.set_params[0].id, 5u);
      EXPECT_EQ(r.set_params[0].value, 3u);
      EXPECT_FALSE(exists(out())) << c.params;
      EXPECT_FALSE(exists(out() + ".tmp")) << c.params;
    } else {
      EXPECT_TRUE(r.set_params.empty()) << c.params;
      EXPECT_TRUE(exists(out())) << c.params;
    }
  }
}

TEST_F(Driver, ConvertPathRemovesAnEarlierOutputAndKeepsGoingOnSetParamFailure) {
  write_file(out(), "earlier");
  scripted::fail(scripted::Op::SetParam, 0x80000005u);
  EXPECT_EQ(speak("x", "5=101"), 0u);
  EXPECT_FALSE(exists(out()));
  EXPECT_FALSE(exists(out() + ".tmp"));
}

TEST_F(Driver, ConvertPathLeavesTheTemporaryFileOnFailure) {
  scripted::fail(scripted::Op::FetchNext, 0x80000007u);
  EXPECT_EQ(speak("x", "5=102"), 0x80000007u);
  EXPECT_TRUE(exists(out() + ".tmp"));
  EXPECT_FALSE(exists(out()));
}

TEST_F(Driver, OutputNameLimit) {
  // The effective name buffer holds 259 characters (255 plus ".tmp"); longer
  // names are refused with ERR_OPEN_FILE after a clean disconnect.
  const std::string base = dir_.path() + "/";
  struct Case {
    size_t length;
    const char* params;
    uint32_t want;
  } cases[] = {
      {259, nullptr, 0},
      {260, nullptr, ERR_OPEN_FILE},
      {255, "5=101", 0},
      {256, "5=101", ERR_OPEN_FILE},
      {5000, nullptr, ERR_OPEN_FILE},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.length);
    scripted::reset();
    std::string name = base + std::string(c.length - base.size(), 'n');
    EXPECT_EQ(Talvern_Impl("x", false, name.c_str(), nullptr, nullptr, c.params, nullptr), c.want) << c.length;
    scripted::Record r = scripted::record();
    EXPECT_EQ(r.synth_text, c.want == 0 ? 1 : 0);
    EXPECT_EQ(r.disconnect, 1);
    EXPECT_EQ(r.open_handles, 0);
    remove(name.c_str());
  }
}

TEST_F(Driver, DisconnectFailureAfterSuccessKeepsZero) {
  scripted::fail(scripted::Op::Disconnect, 0x80000009u);
  EXPECT_EQ(speak("x"), 0u);
  EXPECT_TRUE(exists(out()));
}

}  // namespace
