// POST /v1/speak through tavnd, next to what a caller would run instead.
//
//  - First byte: a 12 KB plain text (voice en, WAVE 16 kHz) through tavnd
//    (--workers 1, its prompt cache on; each round's text ends in its own
//    number, so every request is a miss that renders and stores), on a new
//    loopback TCP connection: the time to the answer's first byte (its
//    header leaves with the first sentence's audio) and to its last byte,
//    next to the same text spoken by the engine in this process (TTSConnect
//    to the first piece, and to the last).
//  - Miss: the same sequence of distinct texts (default 450 bytes each) to
//    two tavnd with the same worker count, one with its cache and one with
//    --no-cache, alternating; each request's whole time.
//
// Rounds alternate which side goes first; each figure is a median.
//
//   bench_speak [--rounds N] [--misses N] [--miss-bytes B] [--workers N]
//               (defaults: 15 rounds, 100 misses, 450 bytes, 1 worker)
#include <unistd.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_text.h"
#include "bench/bench_timing.h"
#include "synth/kavritts.h"
#include "tests/server/tavnd_client.h"

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using tavn::test::TavndProcess;

constexpr uint32_t kWaveRow = 4;  // /v1/speak's default format: WAVE, 16-bit, 16 kHz
const std::string kParams = "voice=en,rate=175,pitch=50,volume=100";  // as tavnd passes them

// A free loopback port now (bound to port 0, then released).
unsigned short free_port() {
  asio::io_context io;
  tcp::acceptor a(io, tcp::endpoint(asio::ip::make_address("127.0.0.1"), 0));
  return a.local_endpoint().port();
}

struct Answer {
  int status = 0;
  std::string cache;  // Tavn-Cache
  uint64_t bytes = 0;
  double first_ms = -1, total_ms = -1;
};

// POST /v1/speak {"text": text} on a new connection to 127.0.0.1:port; the
// body is read in 64 KiB pieces and dropped, as a streaming player would.
Answer speak(unsigned short port, const std::string& text) {
  Answer a;
  const auto t0 = Clock::now();
  asio::io_context io;
  tcp::socket s(io);
  boost::system::error_code ec;
  s.connect(tcp::endpoint(asio::ip::make_address("127.0.0.1"), port), ec);
  if (ec) return a;
  s.set_option(tcp::no_delay(true), ec);
  http::request<http::string_body> req{http::verb::post, "/v1/speak", 11};
  req.set(http::field::host, "127.0.0.1");
  req.set(http::field::content_type, "application/json");
  req.body() = nlohmann::json{{"text", text}}.dump();
  req.prepare_payload();
  http::write(s, req, ec);
  if (!ec) s.wait(tcp::socket::wait_read, ec);
  if (ec) return a;
  a.first_ms = ms_since(t0);
  boost::beast::flat_buffer buffer;
  http::response_parser<http::buffer_body> parser;
  parser.body_limit(boost::none);
  http::read_header(s, buffer, parser, ec);
  if (ec) return a;
  a.status = parser.get().result_int();
  a.cache = std::string(parser.get()["Tavn-Cache"]);
  static char piece[65536];
  while (!parser.is_done()) {
    parser.get().body().data = piece;
    parser.get().body().size = sizeof piece;
    http::read(s, buffer, parser, ec);
    if (ec == http::error::need_buffer) ec = {};
    if (ec) return a;
    a.bytes += sizeof piece - parser.get().body().size;
  }
  a.total_ms = ms_since(t0);
  return a;
}

bool answered(const Answer& a, const char* cache) {
  if (a.status == 200 && a.total_ms >= 0 && a.cache == cache) return true;
  std::fprintf(stderr, "bench_speak: status %d, Tavn-Cache \"%s\" (wanted 200 and %s)\n", a.status,
               a.cache.c_str(), cache);
  return false;
}

const std::string& made(const std::string& folder) {
  std::filesystem::create_directories(folder);
  return folder;
}

std::vector<std::string> listening(std::vector<std::string> args, unsigned short port) {
  args.insert(args.end(), {"--listen", "127.0.0.1:" + std::to_string(port)});
  return args;
}

// tavnd in `folder` on a loopback port with `args`; ready once it spoke a
// first request (its voices are listed just after start).
struct Server {
  unsigned short port = free_port();
  TavndProcess process;
  bool ready = false;

  Server(const std::string& folder, const std::vector<std::string>& args)
      : process(made(folder), listening(args, port)) {
    for (int i = 0; i < 100 && process.started() && !ready; ++i) {
      ready = speak(port, "Warming up.").status == 200;
      if (!ready) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (!ready)
      std::fprintf(stderr, "bench_speak: tavnd did not speak:\n%s", process.log().c_str());
  }
  ~Server() { process.stop(SIGTERM); }
};

int first_byte(const std::string& dir, int rounds) {
  Server server(dir + "/first", {"--workers", "1", "--cache-dir", dir + "/first/cache"});
  if (!server.ready) return 1;
  const std::string text = long_text();
  if (time_request("", kParams, text, kWaveRow).total_ms < 0) {
    std::fprintf(stderr, "bench_speak: the engine in process failed\n");
    return 1;
  }
  Pair first{"in process", "tavnd"}, whole{"in process", "tavnd"};
  uint64_t bytes = 0;
  for (int i = 0; i < rounds; ++i) {
    const std::string own = text + "Round " + std::to_string(i) + ".";
    RequestTimes local;
    Answer remote;
    if (i % 2 == 0) local = time_request("", kParams, own, kWaveRow);
    remote = speak(server.port, own);
    if (i % 2 == 1) local = time_request("", kParams, own, kWaveRow);
    if (local.total_ms < 0 || !answered(remote, "miss")) return 1;
    first.add(local.first_ms, remote.first_ms);
    whole.add(local.total_ms, remote.total_ms);
    bytes = remote.bytes;
  }
  std::printf("%d rounds of a %zu-byte text (%llu bytes of audio), tavnd --workers 1, cache on\n",
              rounds, text.size(), static_cast<unsigned long long>(bytes));
  first.print("first byte (in process: first piece)");
  whole.print("whole request");
  const double limit = std::max(1.3 * median(first.base), median(first.base) + 5);
  std::printf("first byte target: at most %.2f ms (1.3x or +5 ms); whole request target: 1.1x\n",
              limit);
  return 0;
}

int miss_cost(const std::string& dir, int misses, size_t bytes, int workers) {
  const std::string w = std::to_string(workers);
  Server cached(dir + "/cached", {"--workers", w, "--cache-dir", dir + "/cached/cache"});
  Server uncached(dir + "/uncached", {"--workers", w, "--no-cache"});
  if (!cached.ready || !uncached.ready) return 1;
  const std::string words = long_text();
  Pair pair{"--no-cache", "cache miss"};
  for (int i = 0; i < misses; ++i) {
    const std::string text = "Number " + std::to_string(i) + ". " + words.substr(0, bytes);
    Answer with, without;
    if (i % 2 == 0) without = speak(uncached.port, text);
    with = speak(cached.port, text);
    if (i % 2 == 1) without = speak(uncached.port, text);
    if (!answered(with, "miss") || !answered(without, "off")) return 1;
    pair.add(without.total_ms, with.total_ms);
  }
  std::printf("%d distinct %zu-byte texts to tavnd --workers %d with and without its cache\n",
              misses, bytes, workers);
  pair.print("whole request");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 15, misses = 100, workers = 1;
  size_t miss_bytes = 450;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (i + 1 < argc && a == "--rounds") {
      rounds = std::atoi(argv[++i]);
    } else if (i + 1 < argc && a == "--misses") {
      misses = std::atoi(argv[++i]);
    } else if (i + 1 < argc && a == "--miss-bytes") {
      miss_bytes = static_cast<size_t>(std::atol(argv[++i]));
    } else if (i + 1 < argc && a == "--workers") {
      workers = std::atoi(argv[++i]);
    } else {
      std::fprintf(stderr,
                   "usage: bench_speak [--rounds N] [--misses N] [--miss-bytes B] [--workers N]\n");
      return a == "--help" ? 0 : 2;
    }
  }
  if (rounds < 1 || misses < 1 || workers < 1 || miss_bytes < 1 || miss_bytes > 12000) {
    std::fprintf(stderr, "bench_speak: counts from 1, --miss-bytes from 1 to 12000\n");
    return 2;
  }
  if (TTSInitialize() != 0) return 1;
  char tmpl[] = "/tmp/bench_speak_XXXXXX";
  if (mkdtemp(tmpl) == nullptr) return 1;
  const std::string dir = tmpl;
  int status = first_byte(dir, rounds);
  if (status == 0) status = miss_cost(dir, misses, miss_bytes, workers);
  std::filesystem::remove_all(dir);
  return status;
}
