#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "synth/tavn.h"
#include "tools/result_names.h"
#include "tools/say_options.h"

namespace tavn::say {
namespace {

// What tavn-say makes of `args`: "TEXT -> OUT [PARAMS]" (with " file",
// " stdin", " synch:FILE" and " marks:FORMAT=FILE" when asked for), or the
// message for the user.  A "<" first: standard input is no terminal.
std::string parsed(std::vector<const char*> args) {
  SayOptions o;
  o.stdin_is_terminal = args.empty() || std::string(args[0]) != "<";
  if (!o.stdin_is_terminal) args.erase(args.begin());
  args.insert(args.begin(), "tavn-say");
  const std::string message = parse_say_options(static_cast<int>(args.size()), args.data(), &o);
  if (!message.empty()) return message;
  return o.text + (o.is_file ? " file" : "") + (o.text_from_stdin ? " stdin" : "") + " -> " + o.out + " [" +
         build_params(o) + "]" + (o.synch ? " synch:" + o.synch_file : "") +
         (o.marks_format.empty() ? "" : " marks:" + o.marks_format + "=" + o.marks_file) +
         (o.list_voices ? " voices" : "") + (o.conn1.empty() ? "" : " conn1:" + o.conn1) +
         (o.conn2.empty() ? "" : " conn2:" + o.conn2);
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
      {{"--ssml", "--format", "3", "<b>x</b>"}, "<b>x</b> -> tavn-say.wav [5=3,markup=ssml]"},
      {{"--ssml", "--no-ssml", "<speak>"}, "<speak> -> tavn-say.wav [markup=off]"},  // the last one counts
      {{"-f", "in.txt", "--synch"}, "in.txt file -> tavn-say.wav [] synch:"},
      {{"--synch=s.txt", "--", "-a", "--synch"}, "-a --synch -> tavn-say.wav [] synch:s.txt"},
      // Refused: what the library would cut or misread.
      {{}, "nothing to say"},
      {{"-f", "a.txt", "word"}, "not both"},
      {{"-o"}, "-o needs"},
      {{"--format", "31", "x"}, "--format"},
      {{"--format", "PCM9K", "x"}, "--format"},
      {{"--voice", "en,rate=500", "x"}, "--voice"},
      {{"--bogus", "x"}, "unknown option --bogus"},
      {{"--format", "3", "--params", "5=4", "x"}, "not both"},
      {{"--conn1", long32.c_str(), "x"}, "31"},
      {{"--server", long32.c_str(), "x"}, "31"},
      {{"--server", "unix:/run/tavn/tavnd.sock", "--conn2=127.0.0.1:7010", "x"},
       "x -> tavn-say.wav [] conn1:unix:/run/tavn/tavnd.sock conn2:127.0.0.1:7010"},
      {{"--conn1", "a:1", "x"}, "x -> tavn-say.wav [] conn1:a:1"},
      {{"--server", "a:1", "--conn1", "b:1", "x"}, "x -> tavn-say.wav [] conn1:b:1"},  // the last counts
      {{"--server=", "x"}, "--server needs a value"},
      {{"--params", long120.c_str(), "--voice", "en-us", "x"}, "127"},
      // Pipes and speech marks.
      {{"-f", "-", "-o", "-", "--marks=SRT=m.srt"}, " stdin -> - [] marks:SRT=m.srt"},
      {{"<", "--marks", "json"}, " stdin -> tavn-say.wav [] marks:json="},
      {{"<", "--params", "rate=200,5=12", "--marks", "vtt=v.vtt", "--synch"},
       " stdin -> tavn-say.wav [rate=200,5=12] synch: marks:vtt=v.vtt"},
      {{"-f", "-", "x"}, "not both"},
      {{"-f", "a.txt", "-f", "-"}, " stdin -> tavn-say.wav []"},  // the last -f counts
      {{"-f", "-", "-f", "b.txt"}, "b.txt file -> tavn-say.wav []"},
      {{"--marks", "xml", "x"}, "json, srt or vtt"},
      {{"--marks", "json=", "x"}, "needs a file name"},
      {{"-o", "-", "--synch", "x"}, "only one of"},
      {{"--marks", "srt", "--synch", "x"}, "only one of"},
      {{"--params", "5=0101", "--marks", "json", "x"}, "101 to 104"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "row " << &c - cases);
    const std::string got = parsed(c.args);
    if (got.find(" -> ") != std::string::npos) EXPECT_EQ(got, c.request);
    else EXPECT_NE(got.find(c.request), std::string::npos) << got << " / " << c.request;
  }
}

TEST(SayOptions, FormatOfTheRequestAndParamsWithoutIt) {
  const struct {
    std::vector<const char*> args;
    uint32_t format;
    const char* others;  // --params without its format items
  } cases[] = {
      {{"x"}, 0, ""},
      {{"--format", "alaw8k1c", "x"}, 11, ""},
      {{"--params", "rate=90;5=0, 15=3", "x"}, 0, "rate=90,15=3"},
      {{"--params", "15=3,5=9", "x"}, 3, "15=3"},  // as libtavn probes: the 5= inside 15=
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "row " << &c - cases);
    std::vector<const char*> args = c.args;
    args.insert(args.begin(), "tavn-say");
    SayOptions o;
    ASSERT_EQ(parse_say_options(static_cast<int>(args.size()), args.data(), &o), "");
    EXPECT_EQ(requested_format(o), c.format) << o.params;
    EXPECT_EQ(without_format_items(o.params), c.others);
  }
}

TEST(SayOptions, NamesResultCodes) {
  EXPECT_EQ(describe_result(TAVN_ERR_EMPTY_INPUT).rfind("0x80650006 TAVN_ERR_EMPTY_INPUT: ", 0), 0u);
  EXPECT_EQ(describe_result(0x80660008u).rfind("0x80660008 ENGINE_ERR_FORMAT_REFUSED: ", 0), 0u);
  EXPECT_EQ(describe_result(0xdeadbeefu), "0xdeadbeef (unknown result code)");
}

}  // namespace
}  // namespace tavn::say
