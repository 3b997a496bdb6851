// tavnd's speed and footprint, next to the engine in the caller's process.
//
// Throughput (default): requests per second for 450-byte English texts
// (voice en) from 2 client threads, through tavnd with --workers 1 and
// --workers 2, and through the engine's Connection in this process (what a
// program without the server runs); and the wall time of one request alone,
// through the server and in-process.
//
// Soak (--soak COUNT): tavnd with --workers 2 takes COUNT requests from 2
// threads; its resident set (master and workers) and open descriptors are
// printed at idle before and after.  COUNT is an argument so that no test
// runs it by accident; the figure asked for is 100000.
//
//   bench_server [--requests N] [--soak COUNT] [--text-bytes B]
//                (defaults: 400 requests, 450-byte texts)
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "engines/speech/backends/backend.h"
#include "engines/speech/connection.h"
#include "tests/server/tavnd_client.h"

namespace {

using Clock = std::chrono::steady_clock;
using tavn::test::TavndClient;
using tavn::test::TavndProcess;
namespace wire = tavn::speech::wire;

double since(Clock::time_point t0) {
  return std::chrono::duration<double>(Clock::now() - t0).count();
}

std::string english(size_t bytes) {
  const std::string sentences[] = {"The quick brown fox jumps over the lazy dog. ",
                                   "A speech server speaks for many callers at once. ",
                                   "Each worker has an engine of its own. ",
                                   "Nobody waits for long. "};
  std::string s;
  for (size_t i = 0; s.size() < bytes; ++i) s += sentences[i % 4];
  return s.substr(0, bytes);
}

// Runs `each` `total` times from `threads` threads; requests per second.
template <typename F>
double per_second(int threads, int total, F each) {
  std::atomic<int> next{0}, failed{0};
  const auto t0 = Clock::now();
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      while (next++ < total) failed += each(t) ? 0 : 1;
    });
  }
  for (auto& p : pool) p.join();
  if (failed > 0) std::fprintf(stderr, "%d requests failed\n", failed.load());
  return total / since(t0);
}

bool speak_in_process(const std::string& text) {
  tavn::speech::EngineSettings settings;
  tavn::speech::Connection c(settings);
  TTSSynthRecord r{};
  r.text = text.c_str();
  r.text_length = static_cast<uint32_t>(text.size());
  for (uint32_t code = c.start(&r); code == 0; code = c.next(&r)) {
    if (r.status == 0) return true;
  }
  return false;
}

bool speak_through(TavndClient& client, const std::string& text) {
  wire::Request req;
  req.text = text;
  const tavn::test::Reply reply = client.engine(req);
  std::vector<wire::Frame> frames;
  std::string why;
  return reply.status == 200 && tavn::test::read_frames(reply.body, &frames, &why) &&
         !frames.empty() && frames.back().type == wire::FrameType::kEnd;
}

// Requests per second through a tavnd with `workers` workers.
double server_rate(const std::string& dir, int workers, int total, const std::string& text) {
  TavndProcess server(dir, {"--workers", std::to_string(workers)});
  if (!server.started()) {
    std::fprintf(stderr, "tavnd did not start:\n%s", server.log().c_str());
    std::exit(1);
  }
  std::vector<std::unique_ptr<TavndClient>> clients;
  for (int t = 0; t < 2; ++t) clients.push_back(std::make_unique<TavndClient>(server.address()));
  for (int i = 0; i < 4; ++i) speak_through(*clients[0], text);  // every worker warm
  const double rate = per_second(2, total, [&](int t) { return speak_through(*clients[t], text); });
  server.stop(SIGTERM);
  return rate;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Sum over tavnd and its workers of /proc/PID/status VmRSS (KiB) and of the
// entries of /proc/PID/fd.
void footprint(const TavndProcess& server, long* rss_kib, long* fds) {
  *rss_kib = *fds = 0;
  std::vector<pid_t> pids = server.workers();
  pids.push_back(server.pid());
  for (pid_t p : pids) {
    std::ifstream in("/proc/" + std::to_string(p) + "/status");
    std::string line;
    while (std::getline(in, line)) {
      if (line.rfind("VmRSS:", 0) == 0) *rss_kib += std::atol(line.c_str() + 6);
    }
    DIR* d = opendir(("/proc/" + std::to_string(p) + "/fd").c_str());
    for (dirent* e; d != nullptr && (e = readdir(d)) != nullptr;) *fds += e->d_name[0] != '.';
    if (d != nullptr) closedir(d);
  }
}

int soak(const std::string& dir, long count, const std::string& text) {
  TavndProcess server(dir, {"--workers", "2"});
  if (!server.started()) return 1;
  TavndClient warm(server.address());
  for (int i = 0; i < 200; ++i)
    speak_through(warm, text);  // both workers past their first requests
  long rss0 = 0, fds0 = 0, rss1 = 0, fds1 = 0;
  footprint(server, &rss0, &fds0);
  std::vector<std::unique_ptr<TavndClient>> clients;
  for (int t = 0; t < 2; ++t) clients.push_back(std::make_unique<TavndClient>(server.address()));
  const auto t0 = Clock::now();
  const double rate = per_second(2, static_cast<int>(count),
                                 [&](int t) { return speak_through(*clients[t], text); });
  const double took = since(t0);
  clients.clear();
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  footprint(server, &rss1, &fds1);
  std::printf("soak: %ld requests of %zu bytes in %.0f s (%.1f requests/s), tavnd --workers 2\n",
              count, text.size(), took, rate);
  std::printf("  resident set (master + workers): idle %ld KiB, after %ld KiB (x%.3f)\n", rss0,
              rss1, static_cast<double>(rss1) / rss0);
  std::printf("  open descriptors (master + workers): idle %ld, after %ld\n", fds0, fds1);
  return server.stop(SIGTERM) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  int requests = 400;
  long soak_count = 0;
  size_t text_bytes = 450;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (i + 1 < argc && a == "--requests") {
      requests = std::atoi(argv[++i]);
    } else if (i + 1 < argc && a == "--soak") {
      soak_count = std::atol(argv[++i]);
    } else if (i + 1 < argc && a == "--text-bytes") {
      text_bytes = static_cast<size_t>(std::atol(argv[++i]));
    } else {
      std::fprintf(stderr, "usage: bench_server [--requests N] [--soak COUNT] [--text-bytes B]\n");
      return a == "--help" ? 0 : 2;
    }
  }
  if (requests < 10 || text_bytes < 1 || text_bytes > wire::kMaxWireText) {
    std::fprintf(stderr, "bench_server: --requests from 10, --text-bytes from 1 to 65536\n");
    return 2;
  }
  char tmpl[] = "/tmp/bench_server_XXXXXX";
  if (mkdtemp(tmpl) == nullptr) return 1;
  const std::string dir = tmpl, text = english(text_bytes);
  int status = 0;
  if (soak_count > 0) {
    status = soak(dir, soak_count, text);
  } else {
    if (tavn::speech::Backend::InitializeAll() != 0) return 1;
    speak_in_process(text);
    const double in1 = per_second(1, requests / 2, [&](int) { return speak_in_process(text); });
    const double in2 = per_second(2, requests, [&](int) { return speak_in_process(text); });
    const double w1 = server_rate(dir, 1, requests, text);
    const double w2 = server_rate(dir, 2, requests, text);
    std::printf("%zu-byte texts, voice en, %d requests per figure\n", text.size(), requests);
    std::printf("  in-process Connection:   1 thread %.1f/s, 2 threads %.1f/s (x%.2f)\n", in1, in2,
                in2 / in1);
    std::printf("  tavnd, 2 client threads: --workers 1 %.1f/s, --workers 2 %.1f/s (x%.2f)\n", w1,
                w2, w2 / w1);
    std::printf("  --workers 2 next to in-process with 2 threads: x%.2f\n", w2 / in2);
    // One request alone: median of 21.
    TavndProcess server(dir, {"--workers", "1"});
    TavndClient client(server.address());
    std::vector<double> alone, local;
    for (int i = 0; i < 21; ++i) {
      auto t0 = Clock::now();
      speak_through(client, text);
      alone.push_back(since(t0));
      t0 = Clock::now();
      speak_in_process(text);
      local.push_back(since(t0));
    }
    std::printf("  one request alone (median of 21): tavnd %.1f ms, in-process %.1f ms (x%.2f)\n",
                1000 * median(alone), 1000 * median(local), median(alone) / median(local));
    server.stop(SIGTERM);
  }
  rmdir(dir.c_str());
  return status;
}
