#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "synth/tavn.h"
#include "tools/result_names.h"
#include "tools/say_options.h"

namespace {

std::string parse(std::vector<const char*> args, SayOptions* o) {
  args.insert(args.begin(), "tavn-say");
  return parse_say_options(static_cast<int>(args.size()), args.data(), o);
}

TEST(SayOptions, BuildsTheRequest) {
  const struct {
    std::vector<const char*> args;
    std::string text, out, params, synch_file;
    bool is_file, synch;
  } cases[] = {
      {{"Hello", "world."}, "Hello world.", "tavn-say.wav", "", "", false, false},
      {{"-o", "a.wav", "--voice=cmn", "--rate", "200", "--pitch=40", "--volume", "90", "x"}, "x",
       "a.wav", "voice=cmn,rate=200,pitch=40,volume=90", "", false, false},
      {{"--format", "ulaw8k1c", "x"}, "x", "tavn-say.wav", "5=12", "", false, false},
      {{"--params", "foo=1", "--format=TTS_ADF_VOX8K1C", "x"}, "x", "tavn-say.wav", "foo=1,5=22",
       "", false, false},
      {{"-f", "in.txt", "--synch"}, "in.txt", "tavn-say.wav", "", "", true, true},
      {{"--synch=s.txt", "--", "-a", "--synch"}, "-a --synch", "tavn-say.wav", "", "s.txt", false,
       true},
  };
  for (const auto& c : cases) {
    SayOptions o;
    ASSERT_EQ(parse(c.args, &o), "") << c.text;
    EXPECT_EQ(o.text, c.text);
    EXPECT_EQ(o.out, c.out);
    EXPECT_EQ(build_params(o), c.params);
    EXPECT_EQ(o.synch_file, c.synch_file);
    EXPECT_EQ(o.is_file, c.is_file);
    EXPECT_EQ(o.synch, c.synch);
  }
}

TEST(SayOptions, RefusesWhatTheLibraryWouldCutOrMisread) {
  const std::string long32(32, 'c'), long120(120, 'p');
  const struct {
    std::vector<const char*> args;
    const char* message_part;
  } cases[] = {
      {{}, "nothing to say"},
      {{"-f", "a.txt", "word"}, "not both"},
      {{"-o"}, "-o needs"},
      {{"--format", "31", "x"}, "--format"},
      {{"--format", "PCM9K", "x"}, "--format"},
      {{"--voice", "en,rate=500", "x"}, "--voice"},
      {{"--bogus", "x"}, "unknown option --bogus"},
      {{"--format", "3", "--params", "5=4", "x"}, "not both"},
      {{"--conn1", long32.c_str(), "x"}, "31"},
      {{"--params", long120.c_str(), "--voice", "en-us", "x"}, "127"},
  };
  for (const auto& c : cases) {
    SayOptions o;
    EXPECT_NE(parse(c.args, &o).find(c.message_part), std::string::npos) << c.message_part;
  }
}

TEST(SayOptions, NamesResultCodes) {
  EXPECT_EQ(describe_result(TAVN_ERR_EMPTY_INPUT).rfind("0x80650006 TAVN_ERR_EMPTY_INPUT: ", 0), 0u);
  EXPECT_EQ(describe_result(0x80660008u).rfind("0x80660008 ENGINE_ERR_FORMAT_REFUSED: ", 0), 0u);
  EXPECT_EQ(describe_result(0xdeadbeefu), "0xdeadbeef (unknown result code)");
}

}  // namespace
