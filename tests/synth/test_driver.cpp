// Talvern_Impl through the scripted engine: checks, limits, the connect
// record, the "5=" conversion path and the results of every failure.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "test_util.h"

namespace {

class Driver : public ::testing::Test {
 protected:
  void SetUp() override { scripted::reset(); }
  std::string out() const { return dir_.file("out.wav"); }
  uint32_t speak(const char* text, const char* params = nullptr, bool is_file = false) {
    return Talvern_Impl(text, is_file, out().c_str(), "c1", "c2", params, nullptr);
  }
  TempDir dir_;
};

TEST_F(Driver, DefaultScriptGivesACorrectedFile) {
  ASSERT_EQ(speak("Hello."), 0u);
  std::vector<uint8_t> f = read_bytes(out());
  ASSERT_EQ(f.size(), 44u + 1600u);
  EXPECT_EQ(le32(f, 4), f.size() - 8);
  EXPECT_EQ(le32(f, 40), 1600u);
  scripted::Record r = scripted::record();
  EXPECT_EQ(r.connect, 1);
  EXPECT_EQ(r.disconnect, 1);
  EXPECT_EQ(r.open_handles, 0);
  EXPECT_EQ(r.text, "Hello.");
  EXPECT_EQ(r.text_terminator, 0);
}

TEST_F(Driver, RefusesMissingInputBeforeTheEngine) {
  const std::string o = out();
  struct Case { const char* text; const char* out; uint32_t want; } cases[] = {
      {nullptr, o.c_str(), ERR_NULL_INPUT}, {"x", nullptr, ERR_NULL_INPUT},
      {nullptr, nullptr, ERR_NULL_INPUT},   {"", o.c_str(), ERR_EMPTY_INPUT},
      {"x", "", ERR_EMPTY_INPUT},           {"", nullptr, ERR_NULL_INPUT},
  };
  for (const Case& c : cases)
    EXPECT_EQ(Talvern_Impl(c.text, false, c.out, nullptr, nullptr, nullptr, nullptr), c.want);
  EXPECT_EQ(scripted::record().connect, 0);
}

TEST_F(Driver, TextFiles) {
  EXPECT_EQ(speak(dir_.file("missing.txt").c_str(), nullptr, true), ERR_OPEN_FILE);
  write_text(dir_.file("empty.txt"), "");
  EXPECT_EQ(speak(dir_.file("empty.txt").c_str(), nullptr, true), ERR_EMPTY_INPUT);
  EXPECT_EQ(scripted::record().connect, 0);

  write_text(dir_.file("t.txt"), "From a file.");
  EXPECT_EQ(speak(dir_.file("t.txt").c_str(), nullptr, true), 0u);
  EXPECT_EQ(scripted::record().text, "From a file.");

  std::string big(70000, 'b');
  big[65535] = 'E';
  write_text(dir_.file("big.txt"), big);
  EXPECT_EQ(speak(dir_.file("big.txt").c_str(), nullptr, true), 0u);
  scripted::Record r = scripted::record();
  EXPECT_EQ(r.text_length, 65536u);
  EXPECT_EQ(r.text.back(), 'E');
  EXPECT_EQ(r.text_terminator, 0);
}

TEST_F(Driver, TextIsCutAt65536Bytes) {
  for (size_t n : {size_t{65535}, size_t{65536}, size_t{65537}, size_t{200000}}) {
    std::string text(n, 'a');
    ASSERT_EQ(speak(text.c_str()), 0u) << n;
    scripted::Record r = scripted::record();
    EXPECT_EQ(r.text_length, std::min<size_t>(n, 65536)) << n;
    EXPECT_EQ(r.text_terminator, 0) << n;
  }
}

TEST_F(Driver, ConnectRecordCarriesTheStringsCut) {
  std::string c1(40, '1'), c2(60, '2'), params(200, 'p');
  ASSERT_EQ(Talvern_Impl("x", false, out().c_str(), c1.c_str(), c2.c_str(), params.c_str(),
                         nullptr), 0u);
  std::vector<uint8_t> rec = scripted::record().connect_bytes;
  ASSERT_EQ(rec.size(), 412u);
  EXPECT_EQ(le32(rec, 0), 0x101u);
  auto field = [&](size_t at, size_t width) {
    return std::string(reinterpret_cast<const char*>(rec.data()) + at, width);
  };
  EXPECT_EQ(field(88, 128), std::string(127, 'p') + '\0');
  EXPECT_EQ(field(216, 48), std::string(47, '2') + '\0');
  EXPECT_EQ(field(296, 32), std::string(31, '1') + '\0');
  // Every other byte stays zero.
  size_t nonzero = 0;
  for (size_t i = 4; i < 412; ++i)
    if ((i < 88 || (i >= 264 && i < 296) || i >= 328) && rec[i] != 0) ++nonzero;
  EXPECT_EQ(nonzero, 0u);

  ASSERT_EQ(Talvern_Impl("x", false, out().c_str(), nullptr, nullptr, nullptr, nullptr), 0u);
  rec = scripted::record().connect_bytes;
  for (size_t i = 4; i < 412; ++i) ASSERT_EQ(rec[i], 0) << i;
}

TEST_F(Driver, ConnectFailureReturnsTheEngineCode) {
  for (uint32_t code : {0x80001234u, 0u}) {
    scripted::reset();
    scripted::fail(scripted::Op::Connect, code);
    EXPECT_EQ(speak("x"), code);
    EXPECT_EQ(scripted::record().synth_text, 0);
    EXPECT_FALSE(exists(out()));
  }
}

TEST_F(Driver, FormatProbe) {
  struct Case { const char* params; bool convert; } cases[] = {
      {"5=101", true},        {"5=102", true},           {"5=103", true},
      {"5=104", true},        {"a=1,5=0000103", true},   {"5=00000000000104", true},
      {"5=100", false},       {"5=105", false},          {"15=3,5=101", false},
      {"5=abc", false},       {"5=", false},             {"x=15=101", true},
      {"5=1010", false},      {"5=123456789012345", false}, {"", false},
  };
  for (const Case& c : cases) {
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
  write_text(out(), "earlier");
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
  struct Case { size_t length; const char* params; uint32_t want; } cases[] = {
      {259, nullptr, 0},        {260, nullptr, ERR_OPEN_FILE}, {255, "5=101", 0},
      {256, "5=101", ERR_OPEN_FILE}, {5000, nullptr, ERR_OPEN_FILE},
  };
  for (const Case& c : cases) {
    scripted::reset();
    std::string name = base + std::string(c.length - base.size(), 'n');
    EXPECT_EQ(Talvern_Impl("x", false, name.c_str(), nullptr, nullptr, c.params, nullptr), c.want)
        << c.length;
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

TEST_F(Driver, SynthesisFailuresPassTheEngineResult) {
  struct Case { scripted::Op op; uint32_t nth; bool file_left; } cases[] = {
      {scripted::Op::SynthText, 1, true},
      {scripted::Op::FetchNext, 1, true},
  };
  for (const Case& c : cases) {
    scripted::reset();
    scripted::fail(c.op, 0x8000abcdu, c.nth);
    scripted::fail(scripted::Op::Disconnect, 0x80000009u);
    EXPECT_EQ(speak("x"), 0x8000abcdu);
    EXPECT_EQ(exists(out()), c.file_left);
    EXPECT_EQ(scripted::record().open_handles, 0);
  }
}

}  // namespace
