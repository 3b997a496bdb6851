// Whole requests: libtavn.so's entry points driving the espeak engine,
// checked against espeak-ng's own rendering, its sentence events and sox.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "synth/tavn.h"

namespace {

const std::string kEnglish =
    "The quick brown fox jumps over the lazy dog. Then it runs away! Does it come back? "
    "Nobody knows.";
const std::string kChinese = "今天天气很好。我们去公园散步吧！你觉得怎么样？";

// This test's own file names, so tests running side by side never meet.
std::string file_for(const std::string& suffix) {
  const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
  return std::string(t->name()) + "_" + suffix;
}

std::string read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

std::string quote(const std::string& s) {
  return "'" + std::regex_replace(s, std::regex("'"), "'\\''") + "'";
}

// Standard output of a shell command; its exit status in *status.
std::string run(const std::string& command, int* status = nullptr) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  char buf[4096];
  for (size_t n; p != nullptr && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int s = p == nullptr ? -1 : pclose(p);
  if (status != nullptr) *status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
  return out;
}

double number(const std::string& command) { return std::atof(run(command + " 2>&1").c_str()); }

// sox's view of a file: "rate bits encoding", and its RMS level.
std::string soxi(const std::string& f) {
  const std::string out = run("for o in -r -b -e; do soxi $o " + quote(f) + "; done 2>&1 | tr '\\n' ' '");
  return out.substr(0, out.size() - 1);
}
double level(const std::string& f, const std::string& type = "") {
  return number("sox " + type + " " + quote(f) + " -n stat 2>&1 | sed -n 's/RMS *amplitude: *//p'");
}

uint32_t speak_to(const std::string& text, const std::string& out, const std::string& params) {
  return TalvernSynth(text.c_str(), false, out.c_str(), "", "", params.c_str());
}

struct Synch {
  std::vector<double> times;
  std::vector<std::string> texts;
};

Synch parse_synch(const std::string& s) {
  Synch out;
  const std::regex record("Time:\"([^\"]*)s\",\n    SentenseText :\"([^\"]*)\"");
  for (std::sregex_iterator it(s.begin(), s.end(), record), end; it != end; ++it) {
    out.times.push_back(std::atof((*it)[1].str().c_str()));
    out.texts.push_back((*it)[2].str());
  }
  return out;
}

TEST(EngineRequest, LastsAsLongAsEspeakNgsOwnRendering) {
  for (const auto& [voice, text] : {std::pair{"en", kEnglish}, std::pair{"cmn", kChinese}}) {
    const std::string ours = file_for(std::string(voice) + ".wav"), ref = file_for("ref.wav");
    ASSERT_EQ(speak_to(text, ours, std::string("voice=") + voice), 0u);
    int status = -1;
    run("espeak-ng -v " + std::string(voice) + " -w " + quote(ref) + " " + quote(text), &status);
    ASSERT_EQ(status, 0) << "espeak-ng";
    const double expected = number("soxi -D " + quote(ref));
    EXPECT_NEAR(number("soxi -D " + quote(ours)), expected, 0.02 * expected) << voice;
  }
}

TEST(EngineRequest, EveryFormatReadsBackAtItsRateBitsAndLength) {
  const std::string text = "Sox reads this file. Twice over.";
  ASSERT_EQ(speak_to(text, file_for("4.wav"), ""), 0u);
  const double seconds = number("soxi -D " + quote(file_for("4.wav")));
  const double loud = level(file_for("4.wav"));
  ASSERT_GT(seconds, 1.0);
  const char* const kPcm8 = "Unsigned Integer PCM", *const kPcm16 = "Signed Integer PCM";
  const struct {
    uint32_t format, rate, bits, header;
    const char* encoding;  // as soxi names it; null: raw ADPCM, no header
    const char* sox_type = nullptr;  // how sox reads a raw file
  } cases[] = {
      {1, 8000, 8, 44, kPcm8},     {2, 16000, 8, 44, kPcm8},    {3, 8000, 16, 44, kPcm16},
      {5, 11025, 8, 44, kPcm8},    {6, 11025, 16, 44, kPcm16},  {7, 6000, 8, 44, kPcm8},
      {8, 6000, 16, 44, kPcm16},   {9, 16000, 8, 58, "A-law"},  {10, 16000, 8, 58, "u-law"},
      {11, 8000, 8, 58, "A-law"},  {12, 8000, 8, 58, "u-law"},  {13, 11025, 8, 58, "A-law"},
      {14, 11025, 8, 58, "u-law"}, {15, 6000, 8, 58, "A-law"},  {16, 6000, 8, 58, "u-law"},
      {17, 8000, 4, 0, nullptr},   {18, 6000, 4, 0, nullptr},   {19, 8000, 3, 0, nullptr},
      {20, 8000, 5, 0, nullptr},   {21, 6000, 4, 0, nullptr, "-t vox -r 6000"},
      {22, 8000, 4, 0, nullptr, "-t vox -r 8000"},
  };
  for (const auto& c : cases) {
    const std::string f = file_for(std::to_string(c.format));
    ASSERT_EQ(speak_to(text, f, "5=" + std::to_string(c.format)), 0u) << c.format;
    const std::string bytes = read_file(f);
    const double byte_rate = c.rate * c.bits / 8.0;
    EXPECT_NEAR((bytes.size() - c.header) / byte_rate, seconds, 0.01 * seconds) << c.format;
    if (c.encoding != nullptr) {
      EXPECT_EQ(soxi(f), std::to_string(c.rate) + " " + std::to_string(c.bits) + " " + c.encoding);
      EXPECT_EQ(bytes.compare(c.header - 8, 4, "data"), 0) << c.format;
      EXPECT_NEAR(level(f), loud, 0.15 * loud) << c.format;
    } else if (c.sox_type != nullptr) {
      EXPECT_NEAR(level(f, c.sox_type), loud, 0.25 * loud) << c.format;  // right nibble order
    }
  }
}

// tavn-say runs in a process of its own, as espeak_events does: both start
// libespeak-ng afresh, so their sentence times can be compared closely.
TEST(EngineRequest, SynchTimesAgreeWithEspeakSentenceEvents) {
  const struct {
    const char* voice;
    uint32_t format;
    std::string text;
    std::vector<std::string> sentences;
  } cases[] = {
      {"en", 4, kEnglish,
       {"The quick brown fox jumps over the lazy dog.", "Then it runs away!", "Does it come back?",
        "Nobody knows."}},
      {"en", 12, "One. Two. Three.", {"One.", "Two.", "Three."}},
      {"en", 19, "No header here. Times still hold.", {"No header here.", "Times still hold."}},
      {"cmn", 3, kChinese, {"今天天气很好。", "我们去公园散步吧！", "你觉得怎么样？"}},
  };
  for (const auto& c : cases) {
    const std::string wav = file_for("out.wav"), synch_file = file_for("synch.txt");
    int status = -1;
    run(std::string(TAVN_SAY) + " --voice " + c.voice + " --format " + std::to_string(c.format) +
            " --media-url http://h/a -o " + wav + " --synch=" + synch_file + " " + quote(c.text),
        &status);
    ASSERT_EQ(status, 0) << c.voice << " " << c.format;
    const std::string synch = read_file(synch_file);
    EXPECT_EQ(synch.rfind("{\nMediaUrl:\"http://h/a\",\nAbsolutePath:\"" + wav + "\",\n", 0), 0u);
    const Synch ours = parse_synch(synch);
    EXPECT_EQ(ours.texts, c.sentences);

    const std::string events =
        run(std::string(ESPEAK_EVENTS) + " " + c.voice + " 175 " + quote(c.text), &status);
    ASSERT_EQ(status, 0);
    const std::regex line("sentence ([0-9.]+)");
    std::vector<double> starts;
    for (std::sregex_iterator it(events.begin(), events.end(), line), end; it != end; ++it)
      starts.push_back(std::atof((*it)[1].str().c_str()));
    ASSERT_EQ(ours.times.size(), starts.size()) << events;
    for (size_t i = 0; i < starts.size(); ++i) {
      EXPECT_NEAR(ours.times[i], starts[i], 0.010) << c.voice << " sentence " << i;
      if (i > 0) {
        EXPECT_GT(ours.times[i], ours.times[i - 1] + 0.3);
      }
    }
  }
}

TEST(EngineRequest, EightRequestsAtOnceEachGetTheirOwnFile) {
  const std::vector<std::pair<std::string, std::string>> jobs = {  // text, params
      {kEnglish, ""},
      {kChinese, "voice=cmn,5=12"},
      {"Short one.", "5=1,rate=300"},
      {"Guten Tag. Wie geht es Ihnen?", "voice=de,5=9"},
      {"Bonjour tout le monde. Au revoir.", "voice=fr,5=6"},
      {"Raw adpcm here. And here.", "5=19"},
      {"High and slow. Very slow.", "pitch=90,rate=120,5=3"},
      {"Dialogic audio. Six kilohertz.", "5=21"},
  };
  struct Outcome {
    uint32_t result = 1;
    std::string synch;
    size_t bytes = 0;
  };
  auto run_job = [](const std::pair<std::string, std::string>& j, std::string out, Outcome* o) {
    std::vector<char> buffer(8192);
    char* p = buffer.data();
    o->result = TavnSynthSyn(j.first.c_str(), false, out.c_str(), "", "", j.second.c_str(), "", &p,
                             static_cast<int>(buffer.size() - 1));
    o->synch = buffer.data();
    o->bytes = read_file(out).size();
  };
  std::vector<Outcome> alone(jobs.size()), together(jobs.size());
  for (size_t k = 0; k < jobs.size(); ++k)
    run_job(jobs[k], file_for(std::to_string(k) + "_alone"), &alone[k]);
  std::vector<std::thread> threads;
  for (size_t k = 0; k < jobs.size(); ++k)
    threads.emplace_back(run_job, jobs[k], file_for(std::to_string(k)), &together[k]);
  for (std::thread& t : threads) t.join();
  // The same sentences at about the same times: libespeak-ng carries some
  // prosody over from the sentence spoken before, which is now another
  // request's; another request's rate or format would show far more.
  for (size_t k = 0; k < jobs.size(); ++k) {
    ASSERT_EQ(alone[k].result, 0u) << jobs[k].second;
    ASSERT_EQ(together[k].result, 0u) << jobs[k].second;
    const Synch a = parse_synch(alone[k].synch), b = parse_synch(together[k].synch);
    EXPECT_EQ(b.texts, a.texts) << jobs[k].second;
    ASSERT_EQ(b.times.size(), a.times.size());
    for (size_t i = 1; i < a.times.size(); ++i) EXPECT_NEAR(b.times[i], a.times[i], 0.1 * a.times[i]);
    EXPECT_NEAR(double(together[k].bytes), double(alone[k].bytes), 0.1 * alone[k].bytes);
    if (jobs[k].second.find("5=19") == std::string::npos &&
        jobs[k].second.find("5=21") == std::string::npos) {
      EXPECT_EQ(soxi(file_for(std::to_string(k))), soxi(file_for(std::to_string(k) + "_alone")));
    }
  }
}

TEST(EngineRequest, FailuresComeBackWithTheirCodes) {
  const struct {
    const char* params;
    std::string text;
    uint32_t result;
  } cases[] = {
      {"voice=xx-none", "Hello.", 0x80660006u},  // ENGINE_ERR_UNKNOWN_VOICE
      {"5=23", "Hello.", 0x80660008u},           // ENGINE_ERR_FORMAT_REFUSED
      {"5=999", "Hello.", 0x80660008u},
      {"rate=1000", "Hello.", 0x80660007u},      // ENGINE_ERR_BAD_VALUE
      {"", " \n ", TAVN_ERR_OUTPUT_TOO_SHORT},   // nothing to say: a bare header
  };
  for (const auto& c : cases) EXPECT_EQ(speak_to(c.text, file_for("out.wav"), c.params), c.result);
  // 101-104: the front end converts through a stub and keeps no file.
  const std::string out = file_for("convert.wav");
  EXPECT_EQ(speak_to("Hello there.", out, "5=102"), 0u);
  EXPECT_FALSE(std::ifstream(out).good() || std::ifstream(out + ".tmp").good());

  const struct {
    std::string args;
    int exit_status;
    const char* message;
  } says[] = {
      {"--voice xx-none Hello", 1, "0x80660006 ENGINE_ERR_UNKNOWN_VOICE: "},
      {"--format 25 Hello", 1, "0x80660008 ENGINE_ERR_FORMAT_REFUSED: "},
      {"-f no-such-file.txt", 1, "0x80650301 TAVN_ERR_OPEN_FILE: "},
      {"--bogus Hello", 2, "unknown option --bogus"},
      {"--help", 0, "TTS_ADF_ADPCMG7235B1C"},
  };
  for (const auto& c : says) {
    int status = -1;
    const std::string out_text =
        run(std::string(TAVN_SAY) + " -o " + file_for("say.wav") + " " + c.args + " 2>&1", &status);
    EXPECT_EQ(status, c.exit_status) << c.args << ": " << out_text;
    EXPECT_NE(out_text.find(c.message), std::string::npos) << c.args << ": " << out_text;
  }
}

}  // namespace
