#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/espeak/engine_codes.h"
#include "synth/tavn.h"
#include "tools/result_names.h"
#include "tools/say_options.h"

namespace {

std::string parse(std::vector<const char*> args, SayOptions* o) {
  args.insert(args.begin(), "tavn-say");
  return parse_say_options(static_cast<int>(args.size()), args.data(), o);
}

struct GoodCase {
  std::vector<const char*> args;
  std::string text;
  bool is_file;
  std::string out;
  std::string params;
  bool synch;
  std::string synch_file;
};

TEST(SayOptions, BuildsTheRequest) {
  const GoodCase cases[] = {
      {{"Hello", "world."}, "Hello world.", false, "tavn-say.wav", "", false, ""},
      {{"-o", "a.wav", "--voice=cmn", "你好"}, "你好", false, "a.wav", "voice=cmn", false, ""},
      {{"--rate", "200", "--pitch=40", "--volume", "90", "x"}, "x", false, "tavn-say.wav",
       "rate=200,pitch=40,volume=90", false, ""},
      {{"--format", "ulaw8k1c", "x"}, "x", false, "tavn-say.wav", "5=12", false, ""},
      {{"--format=TTS_ADF_VOX8K1C", "x"}, "x", false, "tavn-say.wav", "5=22", false, ""},
      {{"--format", "101", "x"}, "x", false, "tavn-say.wav", "5=101", false, ""},
      {{"--params", "foo=1", "--voice", "en", "--format", "3", "x"}, "x", false, "tavn-say.wav",
       "foo=1,voice=en,5=3", false, ""},
      {{"-f", "in.txt", "--synch"}, "in.txt", true, "tavn-say.wav", "", true, ""},
      {{"--synch=s.txt", "--", "-not-an-option", "--synch"}, "-not-an-option --synch", false,
       "tavn-say.wav", "", true, "s.txt"},
      {{"-", "x"}, "- x", false, "tavn-say.wav", "", false, ""},
  };
  for (const GoodCase& c : cases) {
    SayOptions o;
    ASSERT_EQ(parse(c.args, &o), "") << c.args[0];
    EXPECT_EQ(o.text, c.text);
    EXPECT_EQ(o.is_file, c.is_file);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(build_params(o), c.params);
    EXPECT_EQ(o.synch, c.synch);
    EXPECT_EQ(o.synch_file, c.synch_file);
  }
  SayOptions o;
  ASSERT_EQ(parse({"--conn1", "c1", "--conn2=c2", "--media-url", "http://m/a.wav", "x"}, &o), "");
  EXPECT_EQ(o.conn1, "c1");
  EXPECT_EQ(o.conn2, "c2");
  EXPECT_EQ(o.media_url, "http://m/a.wav");
}

TEST(SayOptions, RefusesBadCommandLines) {
  const std::string long32(32, 'c'), long48(48, 'c'), long120(120, 'p');
  const struct {
    std::vector<const char*> args;
    const char* message_part;
  } cases[] = {
      {{}, "nothing to say"},
      {{"--synch"}, "nothing to say"},
      {{"-f", "a.txt", "word"}, "not both"},
      {{"-o"}, "-o needs"},
      {{"-o", "", "x"}, "-o needs"},
      {{"--format", "31", "x"}, "--format"},
      {{"--format", "100", "x"}, "--format"},
      {{"--format", "PCM9K", "x"}, "--format"},
      {{"--voice", "en,rate=500", "x"}, "--voice"},
      {{"--rate", "", "x"}, "--rate"},
      {{"--bogus", "x"}, "unknown option --bogus"},
      {{"--synch=", "x"}, "--synch=FILE"},
      {{"--format", "3", "--params", "5=4", "x"}, "not both"},
      {{"--conn1", long32.c_str(), "x"}, "31"},
      {{"--conn2", long48.c_str(), "x"}, "47"},
      {{"--params", long120.c_str(), "--voice", "en-us", "x"}, "127"},
  };
  for (const auto& c : cases) {
    SayOptions o;
    const std::string error = parse(c.args, &o);
    EXPECT_NE(error.find(c.message_part), std::string::npos)
        << (c.args.empty() ? "(none)" : c.args[0]) << ": " << error;
  }
  SayOptions o;
  EXPECT_EQ(parse({"--bogus-free", "--help"}, &o).find("unknown"), 0u);  // options are checked
  SayOptions h;
  EXPECT_EQ(parse({"--help"}, &h), "");  // help needs no text
  EXPECT_TRUE(h.help);
}

TEST(SayOptions, FormatNamesAndNumbers) {
  const struct {
    const char* text;
    bool ok;
    uint32_t format;
  } cases[] = {{"0", true, 0},          {"4", true, 4},
               {"30", true, 30},        {"0030", true, 30},
               {"104", true, 104},      {"31", false, 0},
               {"-1", false, 0},        {"", false, 0},
               {"TTS_ADF_DEFAULT", true, 0}, {"pcm16k16b1c", true, 4},
               {"ADPCMG7233B1C", true, 19},  {"TTS_ADF_MP316K1C", true, 30},
               {"TTS_ADF_", false, 0},  {"99999999999999", false, 0}};
  for (const auto& c : cases) {
    uint32_t f = 12345;
    EXPECT_EQ(parse_format(c.text, &f), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(f, c.format) << c.text;
    }
  }
}

TEST(SayOptions, SynchCapacityCoversTheWorstText) {
  // ". " repeated: one sentence per two bytes, each record about 60
  // characters plus its text and a time of up to 13 characters.
  for (size_t bytes : {size_t{0}, size_t{2}, size_t{1000}, size_t{65536}}) {
    const size_t sentences = bytes / 2 + 1;
    EXPECT_GE(synch_capacity(bytes), 512 + sentences * (60 + 13 + 2)) << bytes;
  }
}

TEST(ResultNames, FrontEndAndEngineCodes) {
  const struct {
    uint32_t code;
    const char* name;
  } cases[] = {{0, "success"},
               {TAVN_ERR_OPEN_FILE, "TAVN_ERR_OPEN_FILE"},
               {TAVN_ERR_OUTPUT_TOO_SHORT, "TAVN_ERR_OUTPUT_TOO_SHORT"},
               {TAVN_ERR_NULL_INPUT, "TAVN_ERR_NULL_INPUT"},
               {espeak_engine::ENGINE_ERR_UNKNOWN_VOICE, "ENGINE_ERR_UNKNOWN_VOICE"},
               {espeak_engine::ENGINE_ERR_FORMAT_REFUSED, "ENGINE_ERR_FORMAT_REFUSED"},
               {0x12345678u, "unknown"}};
  for (const auto& c : cases) EXPECT_STREQ(result_name(c.code).name, c.name);
  EXPECT_EQ(describe_result(TAVN_ERR_EMPTY_INPUT).rfind("0x80650006 TAVN_ERR_EMPTY_INPUT: ", 0), 0u);
  EXPECT_EQ(describe_result(0xdeadbeefu), "0xdeadbeef (unknown result code)");
}

}  // namespace
