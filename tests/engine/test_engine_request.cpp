// Whole requests: libtavn.so's entry points driving the speech engine,
// checked against espeak-ng's own rendering, its sentence events and sox.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "synth/tavn.h"
#include "tests/support/test_support.h"

namespace {

const std::string kEnglish =
    "The quick brown fox jumps over the lazy dog. Then it runs away! Does it come back? Nobody knows.";
const std::string kChinese = "今天天气很好。我们去公园散步吧！你觉得怎么样？";

// This test's own file names, so tests running side by side never meet.
std::string file_for(const std::string& suffix) {
  return std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "_" + suffix;
}

std::string quote(const std::string& s) { return "'" + std::regex_replace(s, std::regex("'"), "'\\''") + "'"; }

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

// sox's view of a file: rate, bits and encoding on a line each; its length; its RMS level.
std::string soxi(const std::string& f) { return run("for o in -r -b -e; do soxi $o " + quote(f) + "; done 2>&1"); }
double seconds_of(const std::string& f) { return number("soxi -D " + quote(f)); }
double level(const std::string& f, const std::string& type = "") {
  return number("sox " + type + " " + quote(f) + " -n stat 2>&1 | sed -n 's/RMS *amplitude: *//p'");
}

uint32_t speak_to(const std::string& text, const std::string& out, const std::string& params) {
  return TalvernSynth(text.c_str(), false, out.c_str(), "", "", params.c_str());
}

// Group 1 of every match of `pattern` in `s` as a number; group 2, if asked
// for, joined by '|' into *texts.
std::vector<double> times_in(const std::string& s, const char* pattern, std::string* texts = nullptr) {
  std::vector<double> times;
  const std::regex re(pattern);
  for (std::sregex_iterator it(s.begin(), s.end(), re), end; it != end; ++it) {
    times.push_back(std::atof((*it)[1].str().c_str()));
    if (texts != nullptr) *texts += (texts->empty() ? "" : "|") + (*it)[2].str();
  }
  return times;
}
const char kSynchRecord[] = "Time:\"([^\"]*)s\",\n    SentenseText :\"([^\"]*)\"";

TEST(EngineRequest, LastsAsLongAsEspeakNgsOwnRendering) {
  for (const auto& [voice, text] : {std::pair{"en", kEnglish}, std::pair{"cmn", kChinese}}) {
    SCOPED_TRACE(voice);
    const std::string ours = file_for(std::string(voice) + ".wav"), ref = file_for("ref.wav");
    ASSERT_EQ(speak_to(text, ours, std::string("voice=") + voice), 0u);
    int status = -1;
    run("espeak-ng -v " + std::string(voice) + " -w " + quote(ref) + " " + quote(text), &status);
    ASSERT_EQ(status, 0) << "espeak-ng";
    EXPECT_NEAR(seconds_of(ours), seconds_of(ref), 0.02 * seconds_of(ref)) << voice;
  }
}

TEST(EngineRequest, EveryFormatReadsBackAtItsRateBitsAndLength) {
  const std::string text = "Sox reads this file. Twice over.", pcm = file_for("4.wav");
  ASSERT_EQ(speak_to(text, pcm, ""), 0u);
  const double seconds = seconds_of(pcm), loud = level(pcm);
  ASSERT_GT(seconds, 1.0);
  const char *const kPcm8 = "Unsigned Integer PCM", *const kPcm16 = "Signed Integer PCM";
  struct Case {
    uint32_t format, rate, bits, header;
    const char* encoding;            // as soxi names it; null: raw ADPCM, no header
    const char* sox_type = nullptr;  // how sox reads a raw file
  };
  std::vector<Case> cases = {
      {1, 8000, 8, 44, kPcm8},
      {2, 16000, 8, 44, kPcm8},
      {3, 8000, 16, 44, kPcm16},
      {5, 11025, 8, 44, kPcm8},
      {6, 11025, 16, 44, kPcm16},
      {7, 6000, 8, 44, kPcm8},
      {8, 6000, 16, 44, kPcm16},
      {17, 8000, 4, 0, nullptr},
      {18, 6000, 4, 0, nullptr},
      {19, 8000, 3, 0, nullptr},
      {20, 8000, 5, 0, nullptr},
      {21, 6000, 4, 0, nullptr, "-t vox -r 6000"},
      {22, 8000, 4, 0, nullptr, "-t vox -r 8000"},
  };
  const uint32_t kLawRates[] = {16000, 8000, 11025, 6000};  // 9-16: A-law, u-law at each rate
  for (uint32_t f = 9; f <= 16; ++f) cases.push_back({f, kLawRates[(f - 9) / 2], 8, 58, f % 2 ? "A-law" : "u-law"});
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const std::string f = file_for(std::to_string(c.format));
    ASSERT_EQ(speak_to(text, f, "5=" + std::to_string(c.format)), 0u) << c.format;
    const std::string data = read_file(f);
    EXPECT_NEAR((data.size() - c.header) / (c.rate * c.bits / 8.0), seconds, 0.01 * seconds) << c.format;
    if (c.encoding != nullptr) {
      EXPECT_EQ(soxi(f), std::to_string(c.rate) + "\n" + std::to_string(c.bits) + "\n" + c.encoding + "\n") << c.format;
      EXPECT_EQ(data.compare(c.header - 8, 4, "data"), 0) << c.format;
      EXPECT_NEAR(level(f), loud, 0.15 * loud) << c.format;
    } else if (c.sox_type != nullptr) {
      EXPECT_NEAR(level(f, c.sox_type), loud, 0.25 * loud) << c.format;  // right nibble order
    }
  }
}

// The flite voices sound as the flite command's rendering of the same text
// file: as long, and flite:kal at 8 kHz (its own rate, no resampling) has
// the very same samples.
TEST(EngineRequest, FliteVoicesLastAsLongAsTheFliteCommand) {
  const std::string text_file = file_for("text.txt");
  std::ofstream(text_file) << kEnglish << "\n";
  for (const char* voice : {"slt", "awb", "rms", "kal16", "kal"}) {
    SCOPED_TRACE(voice);
    const std::string ours = file_for(std::string(voice) + ".wav"), ref = file_for("ref.wav");
    const bool kal8 = std::string(voice) == "kal";
    ASSERT_EQ(speak_to(kEnglish, ours, std::string("voice=flite:") + voice + (kal8 ? ",5=3" : "")), 0u);
    int status = -1;
    run("flite -voice " + std::string(voice) + " -f " + text_file + " -o " + ref, &status);
    ASSERT_EQ(status, 0) << "flite";
    EXPECT_NEAR(seconds_of(ours), seconds_of(ref), 0.02 * seconds_of(ref)) << voice;
    if (kal8) {
      EXPECT_TRUE(run("sox " + ours + " -t raw -") == run("sox " + ref + " -t raw -"));
    }
  }
}

// Rows 23 to 30 through both back ends, read by ffmpeg: codec and rate as
// documented, and the decoded audio as long as the 16-bit PCM rendering
// (MP3 adds lame's encoder delay and last frame, about 0.1 to 0.2 s, so the
// text runs for some 12 s).  Their synch times keep bit rate 0: infinite.
TEST(EngineRequest, CompressedRowsDecodeToTheLengthOfThePcmRendering) {
  const std::string text = kEnglish + " " + kEnglish + " One more sentence, to make the text last longer.";
  const struct {
    uint32_t format;
    const char* codec;
    uint32_t rate;
  } rows[] = {{23, "amr_nb", 8000}, {24, "amr_nb", 8000}, {25, "amr_nb", 8000}, {26, "amr_wb", 16000},
              {27, "mp3", 8000},    {28, "mp3", 8000},    {29, "mp3", 11025},   {30, "mp3", 16000}};
  for (const char* voice : {"en", "flite:kal16"}) {
    SCOPED_TRACE(voice);
    {  // kal16: a diphone voice, quick even when emulated
    }
    const std::string pcm = file_for("pcm.wav");
    ASSERT_EQ(speak_to(text, pcm, std::string("voice=") + voice), 0u);
    const double seconds = seconds_of(pcm);
    ASSERT_GT(seconds, 10.0);
    for (const auto& r : rows) {
      const std::string f = file_for(std::to_string(r.format));
      std::vector<char> buffer(8192);
      char* p = buffer.data();
      ASSERT_EQ(TavnSynthSyn(text.c_str(), false, f.c_str(), "", "",
                             (std::string("voice=") + voice + ",5=" + std::to_string(r.format)).c_str(), "", &p,
                             static_cast<int>(buffer.size() - 1)),
                0u)
          << voice << " " << r.format;
      EXPECT_EQ(times_in(buffer.data(), kSynchRecord)[1], INFINITY);
      EXPECT_EQ(run("ffprobe -v error -show_entries stream=codec_name,sample_rate -of csv=p=0 " + f),
                std::string(r.codec) + "," + std::to_string(r.rate) + "\n")
          << voice << " " << r.format;
      const double decoded = number("ffmpeg -v error -i " + f + " -f s16le -ac 1 - | wc -c") / 2 / r.rate;
      EXPECT_NEAR(decoded, seconds, 0.02 * seconds) << voice << " " << r.format;
    }
  }
}

// tavn-say runs in a process of its own, as espeak_events does: both start
// libespeak-ng afresh, so their sentence times can be compared closely.
TEST(EngineRequest, SynchTimesAgreeWithEspeakSentenceEvents) {
  const struct {
    const char *voice, *format;
    std::string text;
  } cases[] = {{"en", "4", kEnglish},
               {"en", "12", "One. Two. Three."},
               {"en", "19", "No header here. Times still hold."},
               {"cmn", "3", kChinese}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.voice << " " << c.format);
    const std::string wav = file_for("out.wav"), synch_file = file_for("synch.txt");
    int status = -1;
    run(std::string(TAVN_SAY) + " --voice " + c.voice + " --format " + c.format + " --media-url http://h/a -o " + wav +
            " --synch=" + synch_file + " " + quote(c.text),
        &status);
    ASSERT_EQ(status, 0) << c.voice << " " << c.format;
    const std::string synch = read_file(synch_file);
    EXPECT_EQ(synch.rfind("{\nMediaUrl:\"http://h/a\",\nAbsolutePath:\"" + wav + "\",\n", 0), 0u);
    std::string texts, sentences = std::regex_replace(c.text, std::regex("([.!?]|。|！|？) ?"), "$1|");
    sentences.pop_back();  // each sentence ends in a stop
    const std::vector<double> ours = times_in(synch, kSynchRecord, &texts);
    EXPECT_EQ(texts, sentences);
    const std::string events = run(std::string(ESPEAK_EVENTS) + " " + c.voice + " " + quote(c.text), &status);
    ASSERT_EQ(status, 0);
    const std::vector<double> starts = times_in(events, "sentence ([0-9.]+)");
    ASSERT_EQ(ours.size(), starts.size()) << events;
    for (size_t i = 0; i < starts.size(); ++i) {
      EXPECT_NEAR(ours[i], starts[i], 0.010) << c.voice << " sentence " << i;
      EXPECT_GT(ours[i], i == 0 ? -1 : ours[i - 1] + 0.3);  // increasing
    }
  }
}

TEST(EngineRequest, ElevenRequestsAtOnceEachGetTheirOwnFile) {
  const struct {
    std::string text, params;
    bool raw;  // no header for sox to read
  } jobs[] = {
      {"Flite speaks here. In parallel with the rest.", "voice=flite:slt,5=30", true},
      {"Kal at eight kilohertz. No resampling.", "voice=flite:kal,5=24", true},
      {"A Scottish voice, slow and high.", "voice=flite:awb,rate=120,pitch=80,volume=150", false},
      {kEnglish, "", false},
      {kChinese, "voice=cmn,5=12", false},
      {"Short one.", "5=1,rate=300", false},
      {"Guten Tag. Wie geht es Ihnen?", "voice=de,5=9", false},
      {"Bonjour tout le monde. Au revoir.", "voice=fr,5=6", false},
      {"Raw adpcm here. And here.", "5=19", true},
      {"High and slow. Very slow.", "pitch=90,rate=120,5=3", false},
      {"Dialogic audio. Six kilohertz.", "5=21", true},
  };
  constexpr size_t kJobs = sizeof jobs / sizeof jobs[0];
  std::string synch[2][kJobs];  // each job alone, then all at once
  auto file = [](int at_once, size_t k) { return file_for(std::to_string(at_once) + "_" + std::to_string(k)); };
  auto speak = [&](int at_once, size_t k) {
    std::vector<char> buffer(8192);
    char* p = buffer.data();
    EXPECT_EQ(TavnSynthSyn(jobs[k].text.c_str(), false, file(at_once, k).c_str(), "", "", jobs[k].params.c_str(), "",
                           &p, static_cast<int>(buffer.size() - 1)),
              0u)
        << jobs[k].params;
    synch[at_once][k] = buffer.data();
  };
  std::vector<std::thread> threads;
  for (size_t k = 0; k < kJobs; ++k) speak(0, k);
  for (size_t k = 0; k < kJobs; ++k) threads.emplace_back(speak, 1, k);
  for (std::thread& t : threads) t.join();
  // About the same times: libespeak-ng carries some prosody over from the
  // sentence before (now another request's); a mixed-up rate shows far more.
  for (size_t k = 0; k < kJobs; ++k) {
    std::string a_texts, b_texts;
    const std::vector<double> a = times_in(synch[0][k], kSynchRecord, &a_texts);
    const std::vector<double> b = times_in(synch[1][k], kSynchRecord, &b_texts);
    EXPECT_FALSE(a_texts.empty());
    EXPECT_EQ(b_texts, a_texts) << jobs[k].params;
    for (size_t i = 1; i < a.size() && i < b.size(); ++i) {
      if (std::isinf(a[i])) EXPECT_EQ(b[i], a[i]);  // MP3 and AMR: bit rate 0
      else EXPECT_NEAR(b[i], a[i], 0.1 * a[i]) << jobs[k].params << " sentence " << i;
    }
    // flite carries nothing from one sentence to the next: the same length.
    // (Its unvoiced noise comes from rand(), so the bytes may differ.)
    if (jobs[k].params.find("flite") != std::string::npos) {
      EXPECT_EQ(read_file(file(1, k)).size(), read_file(file(0, k)).size()) << jobs[k].params;
    }
    const double bytes = double(read_file(file(0, k)).size());
    EXPECT_NEAR(double(read_file(file(1, k)).size()), bytes, 0.1 * bytes) << jobs[k].params;
    if (!jobs[k].raw) {
      EXPECT_EQ(soxi(file(1, k)), soxi(file(0, k)));
    }
  }
}

TEST(EngineRequest, FailuresComeBackWithTheirCodes) {
  const std::string out = file_for("out.wav");
  EXPECT_EQ(speak_to("Hello.", out, "voice=xx-none"), 0x80660006u);  // ENGINE_ERR_UNKNOWN_VOICE
  EXPECT_EQ(speak_to("Hello.", out, "5=31"), 0x80660008u);           // ENGINE_ERR_FORMAT_REFUSED
  EXPECT_EQ(speak_to("Hello.", out, "voice=flite:xx"), 0x80660006u);
  EXPECT_EQ(speak_to(" \n ", out, ""), TAVN_ERR_OUTPUT_TOO_SHORT);  // a bare header
}

}  // namespace
