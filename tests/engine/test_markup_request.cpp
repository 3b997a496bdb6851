// Marked-up texts spoken through libtavn.so and the speech engine: breaks
// in every kind of coding, prosody, marks in the synch text, voices of both
// back ends in one stream, recordings from the audio folder, and plain
// texts that only look a little like markup.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "synth/tavn.h"
#include "tests/support/test_support.h"

namespace {

std::string run(const std::string& command) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  char buf[4096];
  for (size_t n; p != nullptr && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  if (p != nullptr) pclose(p);
  return out;
}

// Seconds of audio in `file` of format `format`: PCM and G.711 from their
// size, the rest decoded by ffmpeg.
double seconds_of(const std::string& file, uint32_t format) {
  const struct {
    uint32_t format, header, byte_rate;
  } sized[] = {{4, 44, 32000}, {3, 44, 16000}, {1, 44, 8000}, {11, 58, 8000}, {17, 0, 4000}, {21, 0, 3000}};
  for (const auto& s : sized) {
    if (s.format == format) return double(read_file(file).size() - s.header) / s.byte_rate;
  }
  return std::atof(run("ffmpeg -v error -i " + file + " -f s16le -ac 1 -ar 8000 - | wc -c").c_str()) / 16000;
}

// The synch records' times and texts.
struct Record {
  double seconds;
  std::string text;
};
std::vector<Record> records(const std::string& synch) {
  std::vector<Record> out;
  const std::regex re("Time:\"([^\"]*)s\",\n    SentenseText :\"((?:[^\"]|\"[^\\n])*)\"\n\\}");
  for (std::sregex_iterator it(synch.begin(), synch.end(), re), end; it != end; ++it)
    out.push_back({std::atof((*it)[1].str().c_str()), (*it)[2].str()});
  return out;
}

uint32_t speak(const std::string& text, const std::string& out, const std::string& params,
               std::string* synch = nullptr) {
  std::vector<char> buffer(1 << 16);
  char* p = buffer.data();
  const uint32_t r = TavnSynthSyn(text.c_str(), false, out.c_str(), "", "", params.c_str(), "", &p,
                                  static_cast<int>(buffer.size() - 1));
  if (synch != nullptr) *synch = buffer.data();
  return r;
}

std::vector<int16_t> pcm16(const std::string& wav) {
  const std::string b = read_file(wav);
  std::vector<int16_t> out;
  for (size_t i = 44; i + 1 < b.size(); i += 2)
    out.push_back(static_cast<int16_t>(uint8_t(b[i]) | uint8_t(b[i + 1]) << 8));
  return out;
}

double rms(const std::vector<int16_t>& v) {
  double sum = 0;
  for (int16_t s : v) sum += double(s) * s;
  return v.empty() ? 0 : std::sqrt(sum / double(v.size()));
}

class MarkupRequest : public ::testing::Test {
 protected:
  std::string file(const std::string& name) const { return tmp_.file(name); }
  Temp_Dir tmp_;
};

// A ten-second break adds ten seconds, within 1%, to the audio and to the
// synch time of what follows it, whatever the coding and the back end.  (A
// break of none splits the sentences' pieces just the same.)
TEST_F(MarkupRequest, BreaksAddTheirTimeInEveryFormat) {
  const struct {
    const char* voice;
    uint32_t format;
  } cases[] = {{"en", 4}, {"en", 11}, {"en", 17}, {"en", 30}, {"en", 24}, {"flite:kal", 21}, {"flite:kal", 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.voice << " " << c.format);
    const std::string params = std::string("voice=") + c.voice + ",5=" + std::to_string(c.format);
    std::string with_synch, without_synch;
    ASSERT_EQ(speak("<speak>Wait here. <break time=\"10s\"/> Then go.</speak>", file("with"), params, &with_synch), 0u);
    ASSERT_EQ(speak("<speak>Wait here. <break time=\"0s\"/> Then go.</speak>", file("without"), params, &without_synch),
              0u);
    EXPECT_NEAR(seconds_of(file("with"), c.format) - seconds_of(file("without"), c.format), 10.0, 0.1);
    const std::vector<Record> with = records(with_synch), without = records(without_synch);
    ASSERT_EQ(with.size(), 2u) << with_synch;
    ASSERT_EQ(without.size(), 2u) << without_synch;
    if (std::isfinite(with[1].seconds)) {
      EXPECT_NEAR(with[1].seconds - without[1].seconds, 10.0, 0.1);
    }
  }
}

TEST_F(MarkupRequest, ProsodyChangesLengthAndLevel) {
  const std::string words = "The quick brown fox jumps over the lazy dog.";
  for (const char* voice : {"en", "flite:kal16"}) {
    SCOPED_TRACE(voice);
    auto spoken = [&](const std::string& attributes) {
      EXPECT_EQ(speak("<speak><prosody " + attributes + ">" + words + "</prosody></speak>", file("p.wav"),
                      std::string("voice=") + voice),
                0u);
      return pcm16(file("p.wav"));
    };
    const std::vector<int16_t> normal = spoken("rate=\"100%\""), slow = spoken("rate=\"50%\""),
                               loud = spoken("volume=\"x-loud\""), silent = spoken("volume=\"silent\"");
    EXPECT_NEAR(double(slow.size()) / normal.size(), 2.0, 0.35);
    EXPECT_GT(rms(loud), 1.4 * rms(normal));
    EXPECT_NEAR(double(silent.size()), double(normal.size()), 0.05 * normal.size());
    EXPECT_EQ(rms(silent), 0.0);
  }
}

// Each mark is a synch record of its own, in order, at the point of the
// audio where it stands: two marks with only a break between them lie
// exactly the break apart.
TEST_F(MarkupRequest, MarksAreSynchRecordsAtTheirTimes) {
  const std::string text =
      "<speak><s>One two <mark name=\"a\"/>three <mark name=\"b\"/><break time=\"1500ms\"/><mark "
      "name=\"c\"/>four.</s> <mark name=\"d\"/><s>Five six.</s></speak>";
  for (const char* voice : {"en", "flite:kal"}) {
    SCOPED_TRACE(voice);
    std::string synch;
    ASSERT_EQ(speak(text, file("m.wav"), std::string("voice=") + voice, &synch), 0u);
    const std::vector<Record> r = records(synch);
    ASSERT_EQ(r.size(), 6u) << synch;
    const char* const texts[] = {nullptr, "<mark name=\"a\"/>", "<mark name=\"b\"/>", "<mark name=\"c\"/>",
                                 "<mark name=\"d\"/>"};
    for (size_t i = 1; i < 5; ++i) EXPECT_EQ(r[i].text, texts[i]) << synch;
    EXPECT_EQ(r[0].text.find("One two"), 0u) << synch;
    EXPECT_EQ(r[5].text.find("Five six."), r[5].text.size() - 9) << synch;
    EXPECT_NEAR(r[3].seconds - r[2].seconds, 1.5, 1e-6);
    for (size_t i = 1; i < r.size(); ++i) EXPECT_GE(r[i].seconds, r[i - 1].seconds) << i;
    EXPECT_GT(r[1].seconds, r[0].seconds + 0.3);  // after "One two"
    EXPECT_EQ(r[5].seconds, r[4].seconds);        // d stands right before "Five six."
  }
}

// Voices of both back ends in one text give one stream at the format's
// rate, as long as each voice speaking its part alone.
TEST_F(MarkupRequest, VoicesSwitchWithinOneText) {
  const struct {
    const char* voice;
    const char* words;
  } parts[] = {
      {"en", "Here is espeak."}, {"flite:slt", "Here is flite."}, {"flite:kal", "Here is kal."}, {"en", "And back."}};
  std::string text = "<speak>";
  double alone = 0;
  for (const auto& p : parts) {
    text += std::string("<voice name=\"") + p.voice + "\">" + p.words + "</voice> ";
    ASSERT_EQ(speak(p.words, file("part.wav"), std::string("voice=") + p.voice + ",5=3"), 0u);
    alone += seconds_of(file("part.wav"), 3);
  }
  for (uint32_t format : {3u, 4u}) {
    ASSERT_EQ(speak(text + "</speak>", file("all.wav"), "5=" + std::to_string(format)), 0u);
    EXPECT_EQ(run("soxi -r " + file("all.wav")), format == 3 ? "8000\n" : "16000\n");
    EXPECT_NEAR(seconds_of(file("all.wav"), format), alone, 0.03 * alone) << format;
  }
}

// A recording at the format's own rate is spliced sample for sample; a name
// the audio folder refuses speaks the element's content instead.
TEST_F(MarkupRequest, RecordingsComeOnlyFromTheAudioFolder) {
  const std::string root = file("prompts");
  ASSERT_EQ(mkdir(root.c_str(), 0755), 0);
  std::vector<int16_t> clip(8000 * 2);
  for (size_t i = 0; i < clip.size(); ++i) clip[i] = static_cast<int16_t>(6000 * std::sin(0.3 * double(i)) + 7);
  for (const char* name : {"prompts/clip.wav", "outside.wav"}) {
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(file(name).c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    sf_write_short(f, clip.data(), static_cast<sf_count_t>(clip.size()));
    sf_close(f);
  }
  ASSERT_EQ(symlink("../outside.wav", (root + "/link.wav").c_str()), 0);
  const std::string params = "5=3,audio_root=" + root;
  auto say = [&](const std::string& src) {
    EXPECT_EQ(
        speak("<speak>Before. <audio src=\"" + src + "\">Instead of it.</audio> After.</speak>", file("a.wav"), params),
        0u);
    return pcm16(file("a.wav"));
  };
  const std::vector<int16_t> spliced = say("clip.wav");
  EXPECT_NE(std::search(spliced.begin(), spliced.end(), clip.begin(), clip.end()), spliced.end());
  for (const std::string& src :
       {std::string("../outside.wav"), file("outside.wav"), std::string("link.wav"), std::string("missing.wav")}) {
    const std::vector<int16_t> instead = say(src);
    EXPECT_EQ(std::search(instead.begin(), instead.end(), clip.begin(), clip.end()), instead.end()) << src;
    EXPECT_GT(instead.size(), spliced.size() - clip.size() + 4000) << src;  // "Instead of it." spoken
  }
}

// Plain texts that start with '<' but not with <speak or <?xml are spoken
// as plain text; markup=off speaks the tags as words; markup=ssml reads
// markup that starts otherwise.
TEST_F(MarkupRequest, OnlyMarkupIsReadAsMarkup) {
  const struct {
    std::string text, params;
    bool same_as_off;
  } cases[] = {
      {"<speaker> says hello.", "", true},
      {"< 5 apples.", "", true},
      {"<speak>Hello.</speak>", "", false},
      {"\xef\xbb\xbf<?xml version=\"1.0\"?>\n<speak>Hello.</speak>", "", false},
      {"Hello <mark name=\"here\"/> again.", "markup=ssml", false},  // content without <speak>
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    ASSERT_EQ(speak(c.text, file("auto.wav"), c.params), 0u);
    ASSERT_EQ(speak(c.text, file("off.wav"), "markup=off"), 0u);
    const double a = seconds_of(file("auto.wav"), 4), off = seconds_of(file("off.wav"), 4);
    if (c.same_as_off) {
      EXPECT_NEAR(a, off, 0.02 * off);
    } else {
      EXPECT_LT(a, 0.8 * off);  // the tags are not spoken
    }
  }
  for (const char* bad : {"<speak>Unclosed", " \n<?xml version=\"1.0\"?><speak/>"})  // a declaration not first
    EXPECT_EQ(speak(bad, file("bad.wav"), ""), 0x80660011u) << bad;                  // ENGINE_ERR_BAD_MARKUP
}

// Marked-up requests on several threads at once (also run under
// ThreadSanitizer): each gets its own records and about its own length.
TEST_F(MarkupRequest, SeveralTextsAtOnce) {
  const std::string texts[] = {
      "<speak>One <mark name=\"a\"/>two. <break time=\"300ms\"/><voice name=\"flite:kal\">Three.</voice></speak>",
      "<speak><prosody rate=\"slow\">Slowly <mark name=\"b\"/>now.</prosody> <lang xml:lang=\"de\">Guten "
      "Tag.</lang></speak>",
      "<speak><say-as interpret-as=\"cardinal\">42</say-as> apples. <emphasis>Really</emphasis>.</speak>",
      "<speak><voice name=\"flite:kal\">Kal <mark name=\"c\"/>first.</voice> Then espeak.</speak>",
  };
  constexpr size_t kTexts = sizeof texts / sizeof texts[0];
  std::string synch[2][kTexts];
  auto wav = [&](int at_once, size_t k) { return file(std::to_string(at_once) + "_" + std::to_string(k) + ".wav"); };
  for (size_t k = 0; k < kTexts; ++k) ASSERT_EQ(speak(texts[k], wav(0, k), "5=3", &synch[0][k]), 0u);
  std::vector<std::thread> threads;
  for (size_t k = 0; k < kTexts; ++k)
    threads.emplace_back([&, k] { EXPECT_EQ(speak(texts[k], wav(1, k), "5=3", &synch[1][k]), 0u); });
  for (std::thread& t : threads) t.join();
  for (size_t k = 0; k < kTexts; ++k) {
    const std::vector<Record> alone = records(synch[0][k]), together = records(synch[1][k]);
    ASSERT_EQ(together.size(), alone.size()) << texts[k];
    for (size_t i = 0; i < alone.size(); ++i) EXPECT_EQ(together[i].text, alone[i].text) << texts[k];
    const double a = seconds_of(wav(0, k), 3), b = seconds_of(wav(1, k), 3);
    EXPECT_NEAR(b, a, 0.1 * a) << texts[k];
  }
}

}  // namespace
