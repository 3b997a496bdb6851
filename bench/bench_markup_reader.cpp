// The markup reader's own cost: reading a 12 KB marked-up text (speak, p, s,
// prosody, emphasis, breaks, marks and say-as of every kind) into sentences,
// per KB, next to the CPU time libespeak-ng takes to speak the same words.
// Also the cost of a first reading in the process (ICU's formatters are
// made then), of the same markup without say-as, and of the ways to have a
// formatter per reader: making one, cloning one, borrowing one from the
// pool of spellers.
//
//   bench_markup_reader [RUNS] [VOICE]   (defaults: 200, en)
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unicode/rbnf.h>

#include "engines/speech/backends/backend.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/number_speller.h"

namespace {

using namespace tavn::speech;
using namespace tavn::speech::markup;

double thread_cpu_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// About 12 KB of markup: paragraphs of sentences with the elements a voice
// application's prompts use; with `say_as` false, the say-as elements are
// replaced by their words.
std::string markup_text(bool say_as) {
  const char* const with[] = {
      "Your balance on <say-as interpret-as=\"date\" format=\"mdy\">3/14/2024</say-as> was "
      "<say-as interpret-as=\"currency\">$1,250.75</say-as>.",
      "Please call <say-as interpret-as=\"telephone\">+1 (555) 123-4567</say-as> before "
      "<say-as interpret-as=\"time\" format=\"hms12\">5:30 pm</say-as>.",
      "Your reference is <say-as interpret-as=\"characters\">QX7</say-as>, the "
      "<say-as interpret-as=\"ordinal\">3rd</say-as> of <say-as "
      "interpret-as=\"cardinal\">12</say-as>.",
  };
  const char* const without[] = {
      "Your balance on March fourteenth, twenty twenty-four was twelve hundred fifty dollars.",
      "Please call five five five, one two three, four five six seven before five thirty PM.",
      "Your reference is Q, X, seven, the third of twelve.",
  };
  std::string text = "<?xml version=\"1.0\"?>\n<speak version=\"1.1\" xml:lang=\"en-US\">\n";
  for (int i = 0; text.size() < 12000; ++i) {
    text += "<p><s>The committee met on Tuesday to review the <emphasis>budget</emphasis>.</s>\n";
    text += "<s><prosody rate=\"90%\" pitch=\"+2st\">";
    text += (say_as ? with : without)[i % 3];
    text += "</prosody></s>\n<mark name=\"m";
    text += std::to_string(i);
    text +=
        "\"/>Several members asked whether the new library could open before winter. "
        "<break time=\"300ms\"/>Nobody could say for certain.</p>\n";
  }
  return text + "</speak>\n";
}

// Median seconds of `runs` readings of `text`, and the first one's.
void time_reading(const std::string& text, int runs, double* first, double* median) {
  std::vector<double> t;
  for (int i = 0; i <= runs; ++i) {
    MarkupDocument doc;
    MarkupError error;
    const double t0 = thread_cpu_seconds();
    if (read_markup(text, "en-us", &doc, &error) != 0) {
      std::fprintf(stderr, "bench_markup_reader: %s\n", error.reason.c_str());
      std::exit(1);
    }
    t.push_back(thread_cpu_seconds() - t0);
  }
  *first = t[0];
  t.erase(t.begin());
  std::sort(t.begin(), t.end());
  *median = t[t.size() / 2];
}

// Median seconds of `runs` calls of `f`.
template <typename F>
double median_of(int runs, F f) {
  std::vector<double> t;
  for (int i = 0; i < runs; ++i) {
    const double t0 = thread_cpu_seconds();
    f();
    t.push_back(thread_cpu_seconds() - t0);
  }
  std::sort(t.begin(), t.end());
  return t[t.size() / 2];
}

void time_formatters(int runs) {
  for (const char* language : {"en", "de"}) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::RuleBasedNumberFormat prototype(icu::URBNF_SPELLOUT, icu::Locale(language), status);
    const double make = median_of(runs, [&] {
      UErrorCode st = U_ZERO_ERROR;
      icu::RuleBasedNumberFormat f(icu::URBNF_SPELLOUT, icu::Locale(language), st);
    });
    const double clone = median_of(runs, [&] { delete prototype.clone(); });
    // A speller as a date needs it (spell-out rules, month names, patterns).
    const double speller = median_of(runs / 10 + 1, [&] {
      NumberSpeller s(language);
      std::string words;
      s.month_name(1, false, &words);
      words = s.pattern("yMMMMd");
    });
    { SpellerLease warm = borrow_speller(language); }
    const double borrow = median_of(runs, [&] { SpellerLease lease = borrow_speller(language); });
    std::printf(
        "%s: spell-out rules made %.0f us, cloned %.0f us; a whole speller made %.0f us, "
        "borrowed from the pool %.2f us\n",
        language, make * 1e6, clone * 1e6, speller * 1e6, borrow * 1e6);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 200;
  const std::string voice = argc > 2 ? argv[2] : "en";
  const std::string text = markup_text(true), plain_markup = markup_text(false);
  const double kb = static_cast<double>(text.size()) / 1024;

  double first, median, first_plain, median_plain;
  time_reading(text, runs, &first, &median);
  time_reading(plain_markup, runs, &first_plain, &median_plain);

  // Speaking the same words: every speak segment of every sentence, one
  // Speak call per sentence as the engine makes them.
  if (Backend::InitializeAll() != 0) {
    std::fprintf(stderr, "bench_markup_reader: the speech back ends did not start\n");
    return 1;
  }
  Backend& backend = Backend::ForVoice(voice);
  MarkupDocument doc;
  MarkupError error;
  read_markup(text, "en-us", &doc, &error);
  double speak_cpu = 0, audio_seconds = 0;
  std::vector<int16_t> samples;
  for (const MarkupSentence& s : doc.sentences) {
    std::string words;
    for (const Segment& g : s.segments) {
      if (g.kind == Segment::kSpeak) words += g.text + " ";
    }
    if (words.empty()) continue;
    const double t0 = thread_cpu_seconds();
    if (backend.Speak(voice, words, Prosody(), &samples) != 0) {
      std::fprintf(stderr, "bench_markup_reader: speaking failed\n");
      return 1;
    }
    speak_cpu += thread_cpu_seconds() - t0;
    audio_seconds += static_cast<double>(samples.size()) / backend.SampleRate(voice);
  }
  Backend::TerminateAll();

  std::printf("markup text: %zu bytes, %zu sentences, %.0f s of speech (voice %s)\n", text.size(),
              doc.sentences.size(), audio_seconds, voice.c_str());
  std::printf("reading, median of %d: %.3f ms (%.1f us/KB); first in the process: %.3f ms\n", runs,
              median * 1e3, median * 1e6 / kb, first * 1e3);
  std::printf("same markup without say-as: %.3f ms (%.1f us/KB); first: %.3f ms\n",
              median_plain * 1e3, median_plain * 1e6 / kb, first_plain * 1e3);
  std::printf("speaking the words (CPU): %.3f s; reading / speaking = %.3f%%\n", speak_cpu,
              100 * median / speak_cpu);
  time_formatters(runs);
  return 0;
}
