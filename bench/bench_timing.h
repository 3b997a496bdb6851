// What the request benchmarks share: a clock in milliseconds, medians, two
// figures compared round by round, and one engine request timed from
// TTSConnect to its first piece and to its last.
#ifndef TAVN_BENCH_BENCH_TIMING_H_
#define TAVN_BENCH_BENCH_TIMING_H_

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "synth/kavritts.h"

using Clock = std::chrono::steady_clock;

inline double ms_since(Clock::time_point t0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

inline double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// Two ways of doing the same thing, measured in alternation: `base` is what
// the other is compared with (ratio = other / base).
struct Pair {
  Pair(const char* base_label, const char* other_label)
      : base_name(base_label), other_name(other_label) {}

  const char* base_name;
  const char* other_name;
  std::vector<double> base, other, ratios;

  void add(double b, double o) {
    base.push_back(b);
    other.push_back(o);
    ratios.push_back(o / b);
  }
  void print(const char* what) const {
    const double b = median(base), o = median(other);
    std::printf(
        "%s: %s %.2f ms, %s %.2f ms: ratio %.3f, difference %+.2f ms "
        "(median of %zu pairwise ratios %.3f, %.3f to %.3f)\n",
        what, base_name, b, other_name, o, o / b, o - b, ratios.size(), median(ratios),
        *std::min_element(ratios.begin(), ratios.end()),
        *std::max_element(ratios.begin(), ratios.end()));
  }
};

// One request through the engine: connect with `params` (and `address` as
// conn_str1; "" speaks in this process), audio format row `format` (0: the
// engine's default), TTSSynthText, then every TTSFetchNext.  Milliseconds
// from the connect to the first piece and to the last; both negative when
// the request failed.
struct RequestTimes {
  double first_ms = -1, total_ms = -1;
};

inline RequestTimes time_request(const std::string& address, const std::string& params,
                                 const std::string& text, uint32_t format = 0) {
  const auto t0 = Clock::now();
  TTSConnectRecord c{};
  c.record_tag = 0x101;
  std::snprintf(c.params, sizeof c.params, "%s", params.c_str());
  std::snprintf(c.conn_str1, sizeof c.conn_str1, "%s", address.c_str());
  const uint32_t h = TTSConnect(&c);
  if (h == 0) return {};
  RequestTimes times;
  TTSSynthRecord r{};
  r.text = text.c_str();
  r.text_length = static_cast<uint32_t>(text.size());
  if ((format == 0 || TTSSetSynthParam(h, TTS_PARAM_AUDIO_FORMAT, format) == 0) &&
      TTSSynthText(h, &r) == 0 && r.status == 1 && TTSFetchNext(h, &r) == 0) {
    times.first_ms = ms_since(t0);
    bool failed = false;
    while (r.status == 1 && !failed) failed = TTSFetchNext(h, &r) != 0;
    times.total_ms = failed ? -1 : ms_since(t0);
  }
  TTSDisconnect(h);
  if (times.total_ms < 0) return {};
  return times;
}

#endif  // TAVN_BENCH_BENCH_TIMING_H_
