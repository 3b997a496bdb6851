// Whole requests: libtavn.so's entry points driving the espeak engine,
// checked against espeak-ng's own rendering and against sox.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "engine_test_util.h"
#include "engines/espeak/engine_codes.h"
#include "synth/tavn.h"

using namespace engine_test;
using namespace espeak_engine;

namespace {

const std::string kEnglish =
    "The quick brown fox jumps over the lazy dog. Then it runs away! Does it come back? "
    "Nobody knows.";
const std::string kChinese = "今天天气很好。我们去公园散步吧！你觉得怎么样？";

// A name for this test's files, so tests running side by side never meet.
std::string file_for(const std::string& suffix) {
  const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
  return std::string(t->test_suite_name()) + "_" + t->name() + "_" + suffix;
}

double soxi(const std::string& option, const std::string& file) {
  int status = 0;
  const std::string out = run("soxi " + option + " " + quote(file) + " 2>/dev/null", &status);
  return status == 0 ? std::atof(out.c_str()) : -1;
}

std::string soxi_text(const std::string& option, const std::string& file) {
  std::string out = run("soxi " + option + " " + quote(file) + " 2>/dev/null");
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
  return out;
}

// sox's RMS amplitude (full scale 1) of an audio file; `type` forces a raw
// input type such as "-t vox -r 8000".
double rms_amplitude(const std::string& file, const std::string& type = "") {
  const std::string out = run("sox " + type + " " + quote(file) + " -n stat 2>&1");
  std::smatch m;
  if (!std::regex_search(out, m, std::regex("RMS +amplitude: +([0-9.]+)"))) return -1;
  return std::atof(m[1].str().c_str());
}

struct Synch {
  std::vector<double> times;
  std::vector<std::string> texts;
};

Synch parse_synch(const std::string& s) {
  Synch out;
  const std::regex record("Time:\"([^\"]*)s\",\n    SentenseText :\"([^\"]*)\"");
  for (auto it = std::sregex_iterator(s.begin(), s.end(), record); it != std::sregex_iterator(); ++it) {
    out.times.push_back(std::atof((*it)[1].str().c_str()));
    out.texts.push_back((*it)[2].str());
  }
  return out;
}

uint32_t speak_to(const std::string& text, const std::string& out, const std::string& params) {
  return TalvernSynth(text.c_str(), false, out.c_str(), "", "", params.c_str());
}

TEST(EngineRequest, LastsAsLongAsEspeakNgsOwnRendering) {
  const struct {
    const char* voice;
    int rate;
    std::string text;
  } cases[] = {{"en", 175, kEnglish}, {"cmn", 175, kChinese}, {"en-us", 260, kEnglish}};
  for (const auto& c : cases) {
    const std::string ours = file_for(std::string(c.voice) + ".wav");
    const std::string ref = file_for(std::string(c.voice) + "_ref.wav");
    const std::string params = "voice=" + std::string(c.voice) + ",rate=" + std::to_string(c.rate);
    ASSERT_EQ(speak_to(c.text, ours, params), 0u) << c.voice;
    int status = -1;
    run("espeak-ng -v " + std::string(c.voice) + " -s " + std::to_string(c.rate) + " -w " +
            quote(ref) + " " + quote(c.text),
        &status);
    ASSERT_EQ(status, 0) << "espeak-ng failed for " << c.voice;
    const Wave a = read_wave(ours), b = read_wave(ref);
    ASSERT_TRUE(a.ok && b.ok) << c.voice;
    EXPECT_EQ(a.rate, 16000u);
    EXPECT_EQ(a.bits, 16u);
    EXPECT_NEAR(a.seconds(), b.seconds(), 0.02 * b.seconds()) << c.voice;
  }
}

TEST(EngineRequest, WaveFormatsDecodeWithSoxAtTheirRateAndBits) {
  const std::string text = "Sox reads this file. Twice over.";
  ASSERT_EQ(speak_to(text, file_for("4.wav"), ""), 0u);
  const double seconds = soxi("-D", file_for("4.wav"));
  ASSERT_GT(seconds, 1.0);
  const struct {
    uint32_t format, rate, bits, header;
    const char* encoding;
  } cases[] = {
      {1, 8000, 8, 44, "Unsigned Integer PCM"},   {2, 16000, 8, 44, "Unsigned Integer PCM"},
      {3, 8000, 16, 44, "Signed Integer PCM"},    {5, 11025, 8, 44, "Unsigned Integer PCM"},
      {6, 11025, 16, 44, "Signed Integer PCM"},   {7, 6000, 8, 44, "Unsigned Integer PCM"},
      {8, 6000, 16, 44, "Signed Integer PCM"},    {9, 16000, 8, 58, "A-law"},
      {10, 16000, 8, 58, "u-law"},                {11, 8000, 8, 58, "A-law"},
      {12, 8000, 8, 58, "u-law"},                 {13, 11025, 8, 58, "A-law"},
      {14, 11025, 8, 58, "u-law"},                {15, 6000, 8, 58, "A-law"},
      {16, 6000, 8, 58, "u-law"},
  };
  const double level = rms_amplitude(file_for("4.wav"));
  ASSERT_GT(level, 0.01);
  for (const auto& c : cases) {
    const std::string f = file_for(std::to_string(c.format) + ".wav");
    ASSERT_EQ(speak_to(text, f, "5=" + std::to_string(c.format)), 0u) << c.format;
    EXPECT_EQ(soxi("-r", f), c.rate) << c.format;
    EXPECT_EQ(soxi("-b", f), c.bits) << c.format;
    EXPECT_EQ(soxi_text("-e", f), c.encoding) << c.format;
    EXPECT_NEAR(soxi("-D", f), seconds, 0.01 * seconds) << c.format;
    EXPECT_NEAR(rms_amplitude(f), level, 0.15 * level) << c.format;
    const Wave w = read_wave(f);
    ASSERT_TRUE(w.ok) << c.format;
    EXPECT_EQ(w.data_at, c.header);
    EXPECT_EQ(get32(&w.bytes[4]), w.bytes.size() - 8) << c.format;
    EXPECT_EQ(w.data_at + w.data_bytes, w.bytes.size()) << c.format;
  }
}

TEST(EngineRequest, RawAdpcmFormatsHaveTheLengthOfTheirBitRate) {
  const std::string text = "Raw telephone audio. Without a header.";
  ASSERT_EQ(speak_to(text, file_for("4.wav"), ""), 0u);
  const double seconds = soxi("-D", file_for("4.wav"));
  ASSERT_GT(seconds, 1.0);
  const struct {
    uint32_t format, byte_rate, unit_bytes;
    const char* sox_type;  // how sox reads it, or null
    uint32_t pcm_format;   // the same rate in 16-bit PCM, for the level
  } cases[] = {
      {17, 4000, 1, nullptr, 3}, {18, 3000, 1, nullptr, 8}, {19, 3000, 3, nullptr, 3},
      {20, 5000, 5, nullptr, 3}, {21, 3000, 1, "-t vox -r 6000", 8},
      {22, 4000, 1, "-t vox -r 8000", 3},
  };
  for (const auto& c : cases) {
    const std::string f = file_for(std::to_string(c.format) + ".raw");
    ASSERT_EQ(speak_to(text, f, "5=" + std::to_string(c.format)), 0u) << c.format;
    const size_t size = read_file(f).size();
    EXPECT_EQ(size % c.unit_bytes, 0u) << c.format;
    EXPECT_NEAR(double(size) / c.byte_rate, seconds, 0.01 * seconds) << c.format;
    if (c.sox_type != nullptr) {
      // sox decodes the Dialogic ADPCM to the level of the PCM rendering.
      const std::string pcm = file_for(std::to_string(c.pcm_format) + ".wav");
      ASSERT_EQ(speak_to(text, pcm, "5=" + std::to_string(c.pcm_format)), 0u);
      const double level = rms_amplitude(pcm);
      EXPECT_NEAR(rms_amplitude(f, c.sox_type), level, 0.25 * level) << c.format;
    }
  }
}

// Runs tavn-say in a process of its own, as espeak_events runs libespeak-ng:
// both start from the same state, so the sentence times can be compared
// closely.
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
      {"en", 19, "Raw audio has no header. Its times still hold.",
       {"Raw audio has no header.", "Its times still hold."}},
      {"cmn", 3, kChinese, {"今天天气很好。", "我们去公园散步吧！", "你觉得怎么样？"}},
  };
  for (const auto& c : cases) {
    const std::string wav = file_for(std::to_string(c.format) + ".wav");
    const std::string synch_file = file_for(std::to_string(c.format) + ".synch");
    int status = -1;
    run(std::string(TAVN_SAY) + " --voice " + c.voice + " --format " + std::to_string(c.format) +
            " --media-url http://host/a.wav -o " + quote(wav) + " --synch=" + quote(synch_file) +
            " " + quote(c.text),
        &status);
    ASSERT_EQ(status, 0) << c.voice << " " << c.format;
    const std::vector<uint8_t> raw = read_file(synch_file);
    const std::string synch(raw.begin(), raw.end());
    EXPECT_EQ(synch.rfind("{\nMediaUrl:\"http://host/a.wav\",\nAbsolutePath:\"" + wav + "\",\n", 0), 0u);
    const Synch ours = parse_synch(synch);
    EXPECT_EQ(ours.texts, c.sentences) << c.voice << " " << c.format;

    const std::string events =
        run(std::string(ESPEAK_EVENTS) + " " + c.voice + " 175 " + quote(c.text), &status);
    ASSERT_EQ(status, 0);
    std::vector<double> starts;
    const std::regex line("sentence ([0-9.]+)");
    for (auto it = std::sregex_iterator(events.begin(), events.end(), line);
         it != std::sregex_iterator(); ++it)
      starts.push_back(std::atof((*it)[1].str().c_str()));
    ASSERT_EQ(ours.times.size(), starts.size()) << events;
    for (size_t i = 0; i < starts.size(); ++i) {
      EXPECT_NEAR(ours.times[i], starts[i], 0.010) << c.voice << " sentence " << i;
      if (i > 0) {
        EXPECT_GT(ours.times[i], ours.times[i - 1]);
      }
    }
  }
}

// The audio itself shows the sentence starts: a pause before each, speech
// right after it.
TEST(EngineRequest, EverySynchTimeFallsBetweenPauseAndSpeech) {
  const std::string out = file_for("out.wav");
  std::vector<char> buffer(4096);
  char* p = buffer.data();
  ASSERT_EQ(TavnSynthSyn(kEnglish.c_str(), false, out.c_str(), "", "", "5=3", "", &p,
                         static_cast<int>(buffer.size() - 1)),
            0u);
  const Synch s = parse_synch(buffer.data());
  ASSERT_EQ(s.times.size(), 4u);
  const Wave w = read_wave(out);
  ASSERT_TRUE(w.ok);
  ASSERT_EQ(w.rate, 8000u);
  auto peak = [&](double from, double to) {
    int m = 0;
    for (size_t i = size_t(std::max(0.0, from) * 8000); i < size_t(to * 8000); ++i) {
      if (2 * i + 1 >= w.data_bytes) break;
      m = std::max(m, std::abs(int(int16_t(get16(&w.bytes[w.data_at + 2 * i])))));
    }
    return m;
  };
  for (size_t i = 0; i < s.times.size(); ++i) {
    const double t = s.times[i];
    if (i > 0) {
      EXPECT_LT(peak(t - 0.1, t), 100) << "sentence " << i << " at " << t;
    }
    EXPECT_GT(peak(t, t + 0.1), 1000) << "sentence " << i << " at " << t;
  }
}

TEST(EngineRequest, EightRequestsAtOnceEachGetTheirOwnFile) {
  struct Job {
    std::string text, params;
    uint32_t rate, bits;  // bits 0: raw ADPCM, checked by length
  };
  const std::vector<Job> jobs = {
      {kEnglish, "", 16000, 16},
      {kChinese, "voice=cmn,5=12", 8000, 8},
      {"Short one.", "5=1,rate=300", 8000, 8},
      {"Guten Tag. Wie geht es Ihnen?", "voice=de,5=9", 16000, 8},
      {"Bonjour tout le monde. Au revoir.", "voice=fr,5=6", 11025, 16},
      {"Raw adpcm here. And here.", "5=19", 8000, 0},
      {"High and slow. Very slow.", "pitch=90,rate=120,5=3", 8000, 16},
      {"Dialogic audio. Six kilohertz.", "5=21", 6000, 0},
  };
  struct Outcome {
    uint32_t result = 1;
    std::string synch;
    double seconds = 0;
  };
  auto run_job = [](const Job& j, const std::string& out, Outcome* o) {
    std::vector<char> buffer(8192);
    char* p = buffer.data();
    o->result = TavnSynthSyn(j.text.c_str(), false, out.c_str(), "", "", j.params.c_str(), "",
                             &p, static_cast<int>(buffer.size() - 1));
    o->synch = buffer.data();
    if (j.bits != 0) {
      o->seconds = read_wave(out).seconds();
    } else {
      o->seconds = read_file(out).size() * 2.0 / j.rate;  // 4 bits, or 3 bits: see below
    }
  };
  std::vector<Outcome> alone(jobs.size()), together(jobs.size());
  for (size_t k = 0; k < jobs.size(); ++k) run_job(jobs[k], file_for(std::to_string(k) + "_alone"), &alone[k]);
  std::vector<std::thread> threads;
  for (size_t k = 0; k < jobs.size(); ++k)
    threads.emplace_back(run_job, std::cref(jobs[k]), file_for(std::to_string(k)), &together[k]);
  for (std::thread& t : threads) t.join();
  for (size_t k = 0; k < jobs.size(); ++k) {
    const Job& j = jobs[k];
    ASSERT_EQ(alone[k].result, 0u) << j.params;
    ASSERT_EQ(together[k].result, 0u) << j.params;
    if (j.bits != 0) {
      const Wave w = read_wave(file_for(std::to_string(k)));
      ASSERT_TRUE(w.ok) << j.params;
      EXPECT_EQ(w.rate, j.rate) << j.params;
      EXPECT_EQ(w.bits, j.bits) << j.params;
    }
    // The same sentences, at about the same times (see the engine's tests
    // for why not exactly the same).
    const Synch a = parse_synch(alone[k].synch), b = parse_synch(together[k].synch);
    EXPECT_EQ(b.texts, a.texts) << j.params;
    ASSERT_EQ(b.times.size(), a.times.size());
    for (size_t i = 1; i < a.times.size(); ++i) EXPECT_NEAR(b.times[i], a.times[i], 0.1 * a.times[i]);
    EXPECT_NEAR(together[k].seconds, alone[k].seconds, 0.1 * alone[k].seconds) << j.params;
  }
}

TEST(EngineRequest, FailuresComeBackWithTheirCodes) {
  const struct {
    const char* params;
    std::string text;
    uint32_t result;
  } cases[] = {
      {"voice=xx-none", "Hello.", ENGINE_ERR_UNKNOWN_VOICE},
      {"voice=en/../x", "Hello.", ENGINE_ERR_UNKNOWN_VOICE},
      {"5=23", "Hello.", ENGINE_ERR_FORMAT_REFUSED},
      {"5=30", "Hello.", ENGINE_ERR_FORMAT_REFUSED},
      {"5=999", "Hello.", ENGINE_ERR_FORMAT_REFUSED},
      {"rate=1000", "Hello.", ENGINE_ERR_BAD_VALUE},
      {"", " \n ", TAVN_ERR_OUTPUT_TOO_SHORT},  // nothing to say: a bare header
  };
  for (const auto& c : cases) {
    EXPECT_EQ(speak_to(c.text, file_for("out.wav"), c.params), c.result) << c.params;
  }
  // 101-104: the front end converts through a stub and keeps no file.
  const std::string out = file_for("convert.wav");
  EXPECT_EQ(speak_to("Hello there.", out, "5=102"), 0u);
  EXPECT_FALSE(file_exists(out));
  EXPECT_FALSE(file_exists(out + ".tmp"));
}

TEST(EngineRequest, TavnSayReportsFailuresByNameAndExitStatus) {
  const struct {
    std::string args;
    int exit_status;
    const char* message;
  } cases[] = {
      {"--voice xx-none Hello", 1, "0x80660006 ENGINE_ERR_UNKNOWN_VOICE: "},
      {"--format 25 Hello", 1, "0x80660008 ENGINE_ERR_FORMAT_REFUSED: "},
      {"-f no-such-file.txt", 1, "0x80650301 TAVN_ERR_OPEN_FILE: "},
      {"--bogus Hello", 2, "unknown option --bogus"},
      {"--help", 0, "TTS_ADF_ADPCMG7235B1C"},
  };
  for (const auto& c : cases) {
    int status = -1;
    const std::string out = run(std::string(TAVN_SAY) + " -o " + quote(file_for("say.wav")) + " " +
                                    c.args + " 2>&1",
                                &status);
    EXPECT_TRUE(WIFEXITED(status)) << c.args;
    EXPECT_EQ(WEXITSTATUS(status), c.exit_status) << c.args << ": " << out;
    EXPECT_NE(out.find(c.message), std::string::npos) << c.args << ": " << out;
  }
}

}  // namespace
