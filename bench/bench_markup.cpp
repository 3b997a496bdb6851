// What markup costs: CPU time of speaking a 12 KB text as plain text next
// to the same words wrapped in typical SSML (speak, p, s, a few prosody and
// say-as elements, no breaks), in one process, requests taken in turn.
// Prints the median CPU seconds of each, the median of the pairwise ratios
// (markup / plain) and the audio lengths (which should agree closely, as
// the words are the same).
//
//   bench_markup [DIR] [PAIRS] [VOICE]  (defaults: /tmp, 7, en)
//   bench_markup --texts DIR            writes the two texts to DIR/plain.txt and
//                                       DIR/markup.ssml (for callgrind runs of tavn-say)
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "synth/tavn.h"

namespace {

// Sentences with numbers, so that say-as has work; espeak-ng reads the
// digits of the plain text as the same words.
const char* const kSentences[] = {
    "The committee met on Tuesday to review the budget for the coming year.",
    "Several of the 12 members asked whether the new library could open before the winter.",
    "After a long discussion, they agreed to publish a detailed plan within 30 days!",
    "Would the town be able to pay 450 thousand without raising taxes?",
    "Nobody could say for certain, but the mood in the room was hopeful.",
    "In the evening, the chairman walked home along the river, thinking about 7 numbers.",
};
constexpr size_t kTextBytes = 12000;

// The number in `s` wrapped in say-as, every third sentence's words in a
// prosody element; plain text when `markup` is false.
std::string sentence(size_t i, bool markup) {
  std::string s = kSentences[i % 6];
  if (!markup) return s;
  const size_t digit = s.find_first_of("0123456789");
  if (digit != std::string::npos) {
    const size_t end = s.find_first_not_of("0123456789", digit);
    s = s.substr(0, digit) + "<say-as interpret-as=\"cardinal\">" + s.substr(digit, end - digit) +
        "</say-as>" + s.substr(end);
  }
  if (i % 3 == 1) s = "<prosody volume=\"loud\">" + s + "</prosody>";
  return "<s>" + s + "</s>";
}

// About kTextBytes of words, plain or marked up: six sentences a paragraph.
std::string text(bool markup) {
  std::string t = markup ? "<speak version=\"1.0\" xml:lang=\"en-US\">\n" : "";
  size_t words = 0;
  for (size_t i = 0; words < kTextBytes; ++i) {
    if (i % 6 == 0 && markup) t += i == 0 ? "<p>" : "</p>\n<p>";
    const std::string s = sentence(i, markup);
    words += std::strlen(kSentences[i % 6]) + 1;
    t += s + ' ';
  }
  return markup ? t + "</p>\n</speak>\n" : t;
}

double cpu_seconds() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return ru.ru_utime.tv_sec + ru.ru_stime.tv_sec +
         (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

// CPU seconds of one request; negative when it failed.
double speak(const std::string& t, const std::string& wav, const std::string& params) {
  const double before = cpu_seconds();
  const uint32_t r = TalvernSynth(t.c_str(), false, wav.c_str(), "", "", params.c_str());
  return r == 0 ? cpu_seconds() - before : -1;
}

double wave_seconds(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  unsigned char h[44];
  if (!f.read(reinterpret_cast<char*>(h), sizeof h)) return 0;
  const uint32_t byte_rate = h[28] | h[29] << 8 | h[30] << 16 | uint32_t(h[31]) << 24;
  const uint32_t data = h[40] | h[41] << 8 | h[42] << 16 | uint32_t(h[43]) << 24;
  return byte_rate == 0 ? 0 : double(data) / byte_rate;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

constexpr char kUsage[] =
    "usage: bench_markup [DIR] [PAIRS] [VOICE]\n"
    "       bench_markup --texts DIR   (writes DIR/plain.txt and DIR/markup.ssml, then stops)\n"
    "  DIR    writable folder for the audio files (default /tmp)\n"
    "  PAIRS  plain and markup requests taken in turn, 1 to 100 (default 7)\n"
    "  VOICE  voice name, e.g. en, flite:kal (default en)\n";

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-h") == 0 || std::strcmp(argv[i], "--help") == 0) {
      std::fputs(kUsage, stdout);
      return 0;
    }
  }
  if (argc == 3 && std::strcmp(argv[1], "--texts") == 0) {
    std::ofstream(std::string(argv[2]) + "/plain.txt", std::ios::binary) << text(false);
    std::ofstream(std::string(argv[2]) + "/markup.ssml", std::ios::binary) << text(true);
    return 0;
  }
  const std::string dir = argc > 1 ? argv[1] : "/tmp";
  const int pairs = argc > 2 ? std::atoi(argv[2]) : 7;
  const std::string voice = argc > 3 ? argv[3] : "en";
  if (argc > 4 || access(dir.c_str(), W_OK | X_OK) != 0 || pairs < 1 || pairs > 100 ||
      voice.empty() || voice.find_first_of(",;= \t") != std::string::npos) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  const std::string params = "voice=" + voice;
  const std::string plain = text(false), markup = text(true);
  const std::string plain_wav = dir + "/bench_markup_plain.wav",
                    markup_wav = dir + "/bench_markup_ssml.wav";
  // Warm: voices loaded, ICU's rules read, before anything is timed.
  if (speak(plain, plain_wav, params) < 0 || speak(markup, markup_wav, params) < 0) {
    std::fprintf(stderr, "bench_markup: a request failed\n");
    return 1;
  }
  std::vector<double> plain_cpu, markup_cpu, ratios;
  for (int i = 0; i < pairs; ++i) {
    // Taken in turn, the order swapped every pair, so drift weighs on both.
    const bool plain_first = i % 2 == 0;
    const double a =
        speak(plain_first ? plain : markup, plain_first ? plain_wav : markup_wav, params);
    const double b =
        speak(plain_first ? markup : plain, plain_first ? markup_wav : plain_wav, params);
    if (a < 0 || b < 0) {
      std::fprintf(stderr, "bench_markup: a request failed\n");
      return 1;
    }
    plain_cpu.push_back(plain_first ? a : b);
    markup_cpu.push_back(plain_first ? b : a);
    ratios.push_back(markup_cpu.back() / plain_cpu.back());
  }
  std::printf(
      "voice %s, %d pairs; plain text %zu bytes, %.1f s of audio; markup %zu bytes, %.1f s\n",
      voice.c_str(), pairs, plain.size(), wave_seconds(plain_wav), markup.size(),
      wave_seconds(markup_wav));
  std::printf(
      "cpu s (median): plain %.3f, markup %.3f; markup / plain: %.3f (pairs %.3f to %.3f)\n",
      median(plain_cpu), median(markup_cpu), median(ratios),
      *std::min_element(ratios.begin(), ratios.end()),
      *std::max_element(ratios.begin(), ratios.end()));
  std::remove(plain_wav.c_str());
  std::remove(markup_wav.c_str());
  return 0;
}
