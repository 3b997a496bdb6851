// tavn-say run as a program on the speech engine: exit statuses and their
// messages, text from a pipe, audio into a pipe, speech marks, and no
// temporary file left behind, signals included.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace {

// Runs `script` with sh in a private folder holding an empty tmp/ (TMPDIR);
// returns its exit status and leaves its standard error in *err.
struct Shell {
  Shell() { std::filesystem::create_directory(folder.file("tmp")); }
  int run(const std::string& script, std::string* err = nullptr) const {
    const std::string command = "cd " + dir + " && TMPDIR=$PWD/tmp SAY=" TAVN_SAY " sh -c '" + script + "' 2>err.txt";
    const int s = std::system(command.c_str());
    if (err != nullptr) *err = read_file(dir + "/err.txt");
    return WIFEXITED(s) ? WEXITSTATUS(s) : -1;
  }
  std::string file(const std::string& name) const { return read_file(dir + "/" + name); }
  bool tmp_empty() const { return std::filesystem::is_empty(dir + "/tmp"); }
  Temp_Dir folder;
  const std::string dir = folder.path();
};

TEST(SayCommand, ExitStatusAndMessage) {
  const struct {
    const char* script;
    int status;
    const char* message;  // the whole standard error, or the start of it
  } cases[] = {
      {"$SAY -o a.wav Hello.", 0, ""},
      {"$SAY --bogus x", 2, "tavn-say: unknown option --bogus (see --help)\n"},
      {"$SAY -o - --synch x", 2, "tavn-say: only one of -o -, --synch and --marks may use standard output"},
      {"$SAY --marks xml x", 2, "tavn-say: --marks needs a format"},
      {"$SAY -o a.wav </dev/null", 1, "tavn-say: failed: 0x80650006 TAVN_ERR_EMPTY_INPUT: "},
      {"$SAY -o no/such/dir.wav Hello.", 1, "tavn-say: failed: 0x80650301 TAVN_ERR_OPEN_FILE: "},
      {"$SAY -f no-such.txt", 1, "tavn-say: failed: 0x80650301 TAVN_ERR_OPEN_FILE: "},
      {"$SAY --voice xx-none Hello.", 1, "tavn-say: failed: 0x80660006 ENGINE_ERR_UNKNOWN_VOICE: "},
      {"$SAY --params 5=99 Hello.", 1, "tavn-say: failed: 0x80660008 ENGINE_ERR_FORMAT_REFUSED: "},
      {"$SAY --synch=no/dir/s.txt Hello.", 1, "tavn-say: cannot write the synch text no/dir/s.txt: "},
      {"$SAY --marks json=no/dir/m.json Hello.", 1, "tavn-say: cannot write the speech marks no/dir/m.json: "},
      {"$SAY --ssml=yes Hello.", 2, "tavn-say: --ssml takes no value\n"},
      // Markup the engine cannot read: where and why, from the parser.
      {"printf \"<speak>\\n Bad <b>nesting</speak>\" | $SAY -o a.wav", 1,
       "tavn-say: failed: 0x80660011 ENGINE_ERR_BAD_MARKUP: the text looks like SSML markup but is malformed, "
       "too deep or unsafe\ntavn-say: line 2, column 18: mismatched tag\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    const Shell sh;
    std::string err;
    EXPECT_EQ(sh.run(c.script, &err), c.status) << c.script << "\n" << err;
    if (*c.message == '\0') EXPECT_EQ(err, "") << c.script;
    else EXPECT_EQ(err.rfind(c.message, 0), 0u) << c.script << "\n" << err;
    EXPECT_TRUE(sh.tmp_empty()) << c.script;
  }
}

TEST(SayCommand, PipesCarryTheSameTextAndAudio) {
  const Shell sh;
  ASSERT_EQ(sh.run("printf \"One. Two.\" >in.txt && $SAY -o ref.wav -f in.txt && "
                   "$SAY -o - <in.txt >stdin.wav && $SAY -f - -o - <in.txt | cat >pipe.wav && "
                   "$SAY --format 19 -o - One. Two. >raw.g726 && $SAY --format 19 -o raw.ref One. Two."),
            0);
  const std::string ref = sh.file("ref.wav");
  ASSERT_GT(ref.size(), 10000u);
  EXPECT_EQ(sh.file("stdin.wav"), ref);
  EXPECT_EQ(sh.file("pipe.wav"), ref);
  EXPECT_EQ(sh.file("raw.g726"), sh.file("raw.ref"));
  EXPECT_TRUE(sh.tmp_empty());
}

TEST(SayCommand, NoTemporaryFileOutlivesASignal) {
  // A long text keeps the request busy; the signal comes once the
  // temporary file exists.
  std::string text;
  for (int i = 0; i < 300; ++i) text += "This sentence is spoken again and again. ";
  for (const char* sig : {"TERM", "INT", "HUP"}) {
    SCOPED_TRACE(sig);
    const Shell sh;
    { std::ofstream(sh.dir + "/long.txt") << text; }
    const std::string script = std::string(
                                   "$SAY -f long.txt -o - >out.wav & pid=$!; "
                                   "until ls tmp | grep -q wav; do sleep 0.02; done; kill -") +
                               sig + " $pid; wait $pid; echo $? >status.txt";
    ASSERT_EQ(sh.run(script), 0) << sig;
    EXPECT_GT(std::atoi(sh.file("status.txt").c_str()), 128) << sig;
    EXPECT_TRUE(sh.tmp_empty()) << sig;
  }
  const Shell sh;
  { std::ofstream(sh.dir + "/long.txt") << text.substr(0, 4000); }
  EXPECT_EQ(sh.run("$SAY -f long.txt -o - | head -c 100 >head.bin"), 0);
  EXPECT_EQ(sh.file("head.bin").size(), 100u);
  EXPECT_TRUE(sh.tmp_empty());
}

// Marks agree with the synch text of the same request, point at their
// sentence in the text, and the last one ends with the audio.
TEST(SayCommand, SpeechMarksFollowTheSynchText) {
  const Shell sh;
  const std::string text = "Hello there. \"Quoted\" words & more! Last one?";
  { std::ofstream(sh.dir + "/in.txt") << text; }
  ASSERT_EQ(sh.run("$SAY -f in.txt -o a.wav --synch=s.txt --marks json=m.json && "
                   "$SAY -f in.txt -o - --marks srt=m.srt >b.wav && "
                   "$SAY --format 12 -f in.txt -o c.wav --marks vtt >m.vtt && soxi -D a.wav >len.txt"),
            0);
  const std::string json = sh.file("m.json"), synch = sh.file("s.txt");
  const std::regex mark(
      "\\{\"time\":([0-9]+),\"type\":\"sentence\",\"start\":([0-9]+),\"end\":([0-9]+),\"value\":\"(.*)\"\\}\n");
  const std::regex record("Time:\"([0-9.]+)s\"");
  std::vector<long> times;
  size_t lines = 0;
  for (std::sregex_iterator it(json.begin(), json.end(), mark), end; it != end; ++it, ++lines) {
    const size_t start = std::stoul((*it)[2]), stop = std::stoul((*it)[3]);
    EXPECT_EQ(std::regex_replace(text.substr(start, stop - start), std::regex("\""), "\\\""), (*it)[4].str());
    times.push_back(std::stol((*it)[1]));
  }
  ASSERT_EQ(lines, 3u) << json;
  EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 3);
  size_t k = 0;
  for (std::sregex_iterator it(synch.begin(), synch.end(), record), end; it != end; ++it, ++k)
    EXPECT_EQ(times.at(k), std::lround(std::stod((*it)[1]) * 1000)) << synch;

  // SRT: three cues, the same times, the last ending at the audio's end.
  const std::string srt = sh.file("m.srt");
  const long audio_ms = std::lround(std::stod(sh.file("len.txt")) * 1000);
  char last_end[64];
  std::snprintf(last_end, sizeof last_end, "%02ld:%02ld,%03ld", audio_ms / 60000, audio_ms / 1000 % 60,
                audio_ms % 1000);
  EXPECT_EQ(srt.rfind("1\n00:00:00,000 --> 00:00:", 0), 0u) << srt;
  EXPECT_NE(srt.find("\n3\n00:"), std::string::npos) << srt;
  EXPECT_NE(srt.find(std::string(" --> 00:") + last_end + "\nLast one?\n\n"), std::string::npos)
      << srt << " / " << last_end;
  EXPECT_EQ(sh.file("b.wav"), sh.file("a.wav"));

  const std::string vtt = sh.file("m.vtt");  // u-law: times from the WAVE header's byte rate
  EXPECT_EQ(vtt.rfind("WEBVTT\n\n00:00:00.000 --> 00:00:", 0), 0u) << vtt;
  EXPECT_NE(vtt.find("\n\"Quoted\" words &amp; more!\n"), std::string::npos) << vtt;

  // MP3 has no bit rate: the times come from a PCM rendering of the same text.
  ASSERT_EQ(sh.run("$SAY --format 30 -f in.txt -o d.mp3 --marks json=d.json"), 0);
  const std::string mp3 = sh.file("d.json");
  size_t m = 0;
  for (std::sregex_iterator it(mp3.begin(), mp3.end(), mark), end; it != end; ++it, ++m)
    EXPECT_NEAR(std::stol((*it)[1]), times.at(m), 50) << mp3;
  EXPECT_EQ(m, 3u) << mp3;
  EXPECT_TRUE(sh.tmp_empty());
}

// Markup from an argument, a file and a pipe alike: marks among the sentence
// lines in JSON, left out of subtitles; --no-ssml speaks the tags.
TEST(SayCommand, SpeaksMarkupWithItsMarks) {
  const Shell sh;
  const std::string text = "<speak>Hello <mark name=\"x\"/> world &amp; all. <s>Bye.</s></speak>";
  { std::ofstream(sh.dir + "/in.ssml") << text; }
  std::string err;
  ASSERT_EQ(sh.run("$SAY -o a.wav --marks json=a.json \"$(cat in.ssml)\" && $SAY -f in.ssml -o b.wav && "
                   "$SAY -o c.wav --marks srt=c.srt <in.ssml && $SAY --no-ssml -o d.wav -f in.ssml && "
                   "$SAY --ssml -o e.wav --marks json=e.json \"Hello <mark name=\\\"x\\\"/> again.\"",
                   &err),
            0)
      << err;
  EXPECT_EQ(sh.file("b.wav"), sh.file("a.wav"));
  EXPECT_EQ(sh.file("c.wav"), sh.file("a.wav"));
  EXPECT_GT(sh.file("d.wav").size(), 2 * sh.file("a.wav").size());  // "speak", "mark name" ... spoken
  const std::regex line(
      "\\{\"time\":([0-9]+),\"type\":\"(sentence|ssml)\",\"start\":([0-9]+),\"end\":([0-9]+),"
      "\"value\":\"([^\"]*)\"\\}\n");
  const std::string json = sh.file("a.json");
  std::string got;
  std::vector<long> times;
  for (std::sregex_iterator it(json.begin(), json.end(), line), end; it != end; ++it) {
    got += (*it)[2].str() + ":" + (*it)[5].str() + ":" + text.substr(std::stoul((*it)[3]), 3) + "|";
    times.push_back(std::stol((*it)[1]));
  }
  EXPECT_EQ(got, "sentence:Hello world & all.:Hel|ssml:x:<ma|sentence:Bye.:Bye|") << json;
  ASSERT_EQ(times.size(), 3u);
  EXPECT_GT(times[1], 300);  // after "Hello"
  EXPECT_GT(times[2], times[1] + 300);
  const std::string srt = sh.file("c.srt");
  EXPECT_EQ(srt.find("\n2\n"), srt.rfind("\n2\n")) << srt;
  EXPECT_EQ(srt.find("\n3\n"), std::string::npos) << srt;
  EXPECT_NE(srt.find("\nBye.\n"), std::string::npos) << srt;
  EXPECT_NE(sh.file("e.json").find("\"type\":\"ssml\",\"start\":6,\"end\":22,\"value\":\"x\"}"), std::string::npos)
      << sh.file("e.json");
  ASSERT_EQ(sh.run("$SAY --help >help.txt"), 0);
  EXPECT_NE(sh.file("help.txt").find("--ssml"), std::string::npos);
}

TEST(SayCommand, ReadmeExampleRuns) {
  const Shell sh;
  std::string err;
  ASSERT_EQ(sh.run("PATH=$(dirname $SAY):$PATH " EXAMPLES_DIR "/shell/hello.sh >out.txt", &err), 0) << err;
  EXPECT_EQ(sh.file("out.txt").rfind("1\n00:00:00,000 --> 00:00:", 0), 0u);
  EXPECT_NE(sh.file("out.txt").find("\n2\n00:00:"), std::string::npos);
  EXPECT_GT(sh.file("hello.wav").size(), 10000u);
}

}  // namespace
