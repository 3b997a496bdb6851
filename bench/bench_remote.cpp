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
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/bench_text.h"
#include "bench/bench_timing.h"
#include "synth/kavritts.h"
#include "synth/tavn.h"

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
  if (whole("") < 0 || whole(address) < 0 || time_request(address, params, text).first_ms < 0) {
    std::fprintf(stderr, "bench_remote: a request through %s failed\n", address.c_str());
    return 1;
  }
  Pair short_request{"in process", "through the server"};
  Pair first_piece{"in process", "through the server"};
  for (int i = 0; i < rounds; ++i) {
    const double l = whole(""), r = whole(address);
    const double fl = time_request("", params, text).first_ms,
                 fr = time_request(address, params, text).first_ms;
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
