#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "synth/tavn.h"
#include "tools/result_names.h"
#include "tools/say_options.h"

namespace {

// What tavn-say makes of `args`: "TEXT -> OUT [PARAMS]" (with " file" and
// " synch:FILE" when asked for), or the message for the user.
std::string parsed(std::vector<const char*> args) {
  args.insert(args.begin(), "tavn-say");
  SayOptions o;
  const std::string message = parse_say_options(static_cast<int>(args.size()), args.data(), &o);
  if (!message.empty()) return message;
  return o.text + (o.is_file ? " file" : "") + " -> " + o.out + " [" + build_params(o) + "]" +
         (o.synch ? " synch:" + o.synch_file : "") + (o.list_voices ? " voices" : "");
}

TEST(SayOptions, BuildsTheRequestOrRefuses) {
  const std::string long32(32, 'c'), long120(120, 'p');
  const struct {
    std::vector<const char*> args;
    std::string request;  // or a part of the message
  } cases[] = {
      {{"Hello", "world."}, "Hello world. -> tavn-say.wav []"},
      {{"-o", "a.wav", "--voice=cmn", "--rate", "200", "--pitch=40", "--volume", "90", "x"},
       "x -> a.wav [voice=cmn,rate=200,pitch=40,volume=90]"},
      {{"--format", "ulaw8k1c", "x"}, "x -> tavn-say.wav [5=12]"},
      {{"--voice", "flite:kal", "--format", "mp38k1c", "x"}, "x -> tavn-say.wav [voice=flite:kal,5=28]"},
      {{"--voices"}, " -> tavn-say.wav [] voices"},
      {{"--params", "foo=1", "--format=TTS_ADF_VOX8K1C", "x"}, "x -> tavn-say.wav [foo=1,5=22]"},
      {{"-f", "in.txt", "--synch"}, "in.txt file -> tavn-say.wav [] synch:"},
      {{"--synch=s.txt", "--", "-a", "--synch"}, "-a --synch -> tavn-say.wav [] synch:s.txt"},
      // Refused: what the library would cut or misread.
      {{}, "nothing to say"}, {{"-f", "a.txt", "word"}, "not both"}, {{"-o"}, "-o needs"},
      {{"--format", "31", "x"}, "--format"}, {{"--format", "PCM9K", "x"}, "--format"},
      {{"--voice", "en,rate=500", "x"}, "--voice"}, {{"--bogus", "x"}, "unknown option --bogus"},
      {{"--format", "3", "--params", "5=4", "x"}, "not both"}, {{"--conn1", long32.c_str(), "x"}, "31"},
      {{"--params", long120.c_str(), "--voice", "en-us", "x"}, "127"},
  };
  for (const auto& c : cases) {
    const std::string got = parsed(c.args);
    if (got.find(" -> ") != std::string::npos) EXPECT_EQ(got, c.request);
    else EXPECT_NE(got.find(c.request), std::string::npos) << got << " / " << c.request;
  }
}

TEST(SayOptions, NamesResultCodes) {
  EXPECT_EQ(describe_result(TAVN_ERR_EMPTY_INPUT).rfind("0x80650006 TAVN_ERR_EMPTY_INPUT: ", 0), 0u);
  EXPECT_EQ(describe_result(0x80660008u).rfind("0x80660008 ENGINE_ERR_FORMAT_REFUSED: ", 0), 0u);
  EXPECT_EQ(describe_result(0xdeadbeefu), "0xdeadbeef (unknown result code)");
}

}  // namespace
