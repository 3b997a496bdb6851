// One request through a speech server (tavnd at ADDRESS, on this machine)
// next to the same request in process, which is what a caller would run
// instead; rounds alternate between the two, and each figure is a median.
//  - a 450-byte text: the wall time of a whole TalvernSynth request (connect,
//    speak into a WAVE file, disconnect);
//  - a 12 KB text: the time from TTSConnect to the first sentence's piece
//    (connect, TTSSynthText, the first TTSFetchNext); the rest of the
//    request is fetched untimed.
//
//   bench_remote ADDRESS [ROUNDS] [VOICE] [DIR]  (defaults: 20 rounds, en, /tmp)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/bench_text.h"
#include "synth/kavritts.h"
#include "synth/tavn.h"

namespace {

using Clock = std::chrono::steady_clock;

double ms_since(Clock::time_point t0) {
  return std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

// Milliseconds from connect to the first sentence's piece, or a negative
// number when the request failed.
double first_piece_ms(const std::string& address, const std::string& params,
                      const std::string& text) {
  const auto t0 = Clock::now();
  TTSConnectRecord c{};
  c.record_tag = 0x101;
  std::snprintf(c.params, sizeof c.params, "%s", params.c_str());
  std::snprintf(c.conn_str1, sizeof c.conn_str1, "%s", address.c_str());
  const uint32_t h = TTSConnect(&c);
  if (h == 0) return -1;
  TTSSynthRecord r{};
  r.text = text.c_str();
  r.text_length = static_cast<uint32_t>(text.size());
  double ms = -1;
  if (TTSSynthText(h, &r) == 0 && r.status == 1 && TTSFetchNext(h, &r) == 0) {
    ms = ms_since(t0);
    while (r.status == 1) {
      if (TTSFetchNext(h, &r) != 0) {
        ms = -1;
        break;
      }
    }
  }
  TTSDisconnect(h);
  return ms;
}

struct Pair {
  std::vector<double> local, remote, ratios;
  void add(double l, double r) {
    local.push_back(l);
    remote.push_back(r);
    ratios.push_back(r / l);
  }
  void print(const char* what) const {
    const double l = median(local), r = median(remote);
    std::printf(
        "%s: in process %.2f ms, through the server %.2f ms: ratio %.3f, difference %+.2f ms "
        "(median of %zu pairwise ratios %.3f, %.3f to %.3f)\n",
        what, l, r, r / l, r - l, ratios.size(), median(ratios),
        *std::min_element(ratios.begin(), ratios.end()),
        *std::max_element(ratios.begin(), ratios.end()));
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 5 || std::strcmp(argv[1], "--help") == 0) {
    std::printf(
        "usage: bench_remote ADDRESS [ROUNDS] [VOICE] [DIR]\n"
        "  ADDRESS  a running tavnd, as conn_str1 takes it (e.g. 127.0.0.1:7010)\n"
        "  ROUNDS   pairs of requests per figure (default 20)\n"
        "  VOICE    voice= of every request (default en)\n"
        "  DIR      writable folder for the audio files (default /tmp)\n");
    return argc < 2 ? 2 : 0;
  }
  const std::string address = argv[1];
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 20;
  const std::string params = "voice=" + std::string(argc > 3 ? argv[3] : "en");
  const std::string dir = argc > 4 ? argv[4] : "/tmp";
  if (rounds < 1) {
    std::fprintf(stderr, "bench_remote: ROUNDS must be a positive number\n");
    return 2;
  }
  const std::string text = long_text(), paragraph = text.substr(0, 450);
  const std::string wav = dir + "/bench_remote.wav";

  const auto whole = [&](const std::string& conn) {
    const auto t0 = Clock::now();
    const uint32_t r =
        TalvernSynth(paragraph.c_str(), false, wav.c_str(), conn.c_str(), "", params.c_str());
    return r == 0 ? ms_since(t0) : -1;
  };
  // One of each first: voices loaded, server workers warm.
  if (whole("") < 0 || whole(address) < 0 || first_piece_ms(address, params, text) < 0) {
    std::fprintf(stderr, "bench_remote: a request through %s failed\n", address.c_str());
    return 1;
  }
  Pair short_request, first_piece;
  for (int i = 0; i < rounds; ++i) {
    const double l = whole(""), r = whole(address);
    const double fl = first_piece_ms("", params, text), fr = first_piece_ms(address, params, text);
    if (l < 0 || r < 0 || fl < 0 || fr < 0) {
      std::fprintf(stderr, "bench_remote: a request failed in round %d\n", i);
      return 1;
    }
    short_request.add(l, r);
    first_piece.add(fl, fr);
  }
  std::remove(wav.c_str());
  std::printf("%d rounds, %s, server %s\n", rounds, params.c_str(), address.c_str());
  short_request.print("450-byte request, whole");
  first_piece.print("12 KB request, first sentence's piece");
  return 0;
}
