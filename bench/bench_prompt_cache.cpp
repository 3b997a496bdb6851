// The prompt cache's own cost, next to what a program would do without it
// (read or write the same bytes as a plain file), in one run:
//   hits:    find() of a stored entry, checked (length, XXH3-64) and read
//            whole, against open + read + close of a plain file of the body;
//   stores:  a new entry written in 4 KiB pieces, its first bytes rewritten
//            (the WAVE sizes) and committed, against writing a plain file.
// The files live in a fresh folder under /tmp (the page cache holds them,
// as it holds a busy server's prompts).
//   bench_prompt_cache [SECONDS per measurement (default 2)] [ENTRY_KIB (default 100)]
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "server/cache/cache_key.h"
#include "server/cache/prompt_cache.h"

using namespace tavn::server;
using Clock = std::chrono::steady_clock;

namespace {

// Calls `step(i)` on `threads` threads for `seconds`; operations per second.
template <class Step>
double rate(int threads, double seconds, Step step) {
  std::vector<std::thread> pool;
  std::vector<long> counts(threads, 0);
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  for (int t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      long n = 0;
      while (Clock::now() < end) step(t, n++);
      counts[t] = n;
    });
  }
  for (auto& t : pool) t.join();
  long total = 0;
  for (long c : counts) total += c;
  return total / seconds;
}

bool read_plain(const std::string& path, std::string* out) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  out->resize(static_cast<size_t>(lseek(fd, 0, SEEK_END)));
  const bool ok = pread(fd, out->data(), out->size(), 0) == static_cast<ssize_t>(out->size());
  close(fd);
  return ok;
}

void write_plain(const std::string& path, const std::string& body) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  for (size_t at = 0; at < body.size(); at += 4096) {
    if (write(fd, body.data() + at, std::min<size_t>(4096, body.size() - at)) < 0) break;
  }
  close(fd);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "--help") {
    std::puts(
        "usage: bench_prompt_cache [SECONDS per measurement (default 2)] [ENTRY_KIB (default "
        "100)]");
    return 0;
  }
  const double seconds = argc > 1 ? std::atof(argv[1]) : 2;
  const size_t kib = argc > 2 ? static_cast<size_t>(std::atoi(argv[2])) : 100;
  if (seconds <= 0 || kib == 0) {
    std::fputs("bench_prompt_cache: SECONDS and ENTRY_KIB must be positive\n", stderr);
    return 2;
  }
  char tmpl[] = "/tmp/tavn_bench_cache_XXXXXX";
  if (mkdtemp(tmpl) == nullptr) return 1;
  const std::string dir = tmpl;
  std::string body(kib * 1024, '\0');
  for (size_t i = 0; i < body.size(); ++i) body[i] = static_cast<char>(i * 7 + (i >> 9));

  PromptCache::Options o;
  o.dir = dir + "/cache";
  o.max_bytes = 64ull << 20;  // stores evict, as in a full cache
  std::string why;
  auto cache = PromptCache::open(o, &why);
  if (!cache) {
    std::fprintf(stderr, "bench_prompt_cache: %s\n", why.c_str());
    return 1;
  }
  const CacheKey key = make_cache_key(std::string(300, 'k'));  // a request's key material
  {
    auto w = cache->find(key).writer;
    w->append(body.data(), body.size());
    w->commit(std::string(400, 'm'));
  }
  const std::string plain = dir + "/plain.wav";
  write_plain(plain, body);

  std::printf("entry of %zu KiB, %.1f s per measurement\n", kib, seconds);
  for (const int threads : {1, 2}) {
    const double plain_rate = rate(threads, seconds, [&](int, long) {
      std::string out;
      read_plain(plain, &out);
    });
    const double hit_rate = rate(threads, seconds, [&](int, long) {
      auto found = cache->find(key);
      std::string out;
      found.entry->take_body(&out);
    });
    std::printf("hits, %d thread%s: %.0f/s; plain file read: %.0f/s; ratio %.2f\n", threads,
                threads > 1 ? "s" : "", hit_rate, plain_rate, hit_rate / plain_rate);
  }
  const double plain_writes = rate(1, seconds, [&](int, long n) {  // new files, the oldest removed
    write_plain(dir + "/w" + std::to_string(n), body);
    if (n >= 64) unlink((dir + "/w" + std::to_string(n - 64)).c_str());
  });
  long stored = 0;
  const double stores = rate(1, seconds, [&](int, long n) {
    auto w = cache->find(make_cache_key("store " + std::to_string(n))).writer;
    if (!w) return;
    for (size_t at = 0; at < body.size(); at += 4096)
      w->append(body.data() + at, std::min<size_t>(4096, body.size() - at));
    w->overwrite(0, body.data(), 44);
    stored += w->commit("{}");
  });
  std::printf(
      "stores: %.0f/s (%.0f us each); plain file writes: %.0f/s (%.0f us); ratio %.2f; "
      "%ld stored, %llu evicted\n",
      stores, 1e6 / stores, plain_writes, 1e6 / plain_writes, stores / plain_writes, stored,
      static_cast<unsigned long long>(cache->stats().evicted));
  cache.reset();
  std::filesystem::remove_all(dir);
  return 0;
}
