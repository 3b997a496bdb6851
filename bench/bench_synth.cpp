// Streams generated audio through Talvern_Impl into a file and compares the
// throughput with a plain fwrite loop writing the same bytes; reports the
// peak resident memory of each run, measured in a child process so that the
// figures do not carry over.
//
//   bench_synth [DIR] [GiB]     (defaults: /tmp, 1)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "engines/scripted/scripted_engine.h"
#include "synth/tavn.hpp"

namespace {

constexpr uint32_t kPiece = 64 * 1024;

struct Result {
  double seconds = 0;
  long peak_kib = 0;
};

// Runs `work` in a child; returns its wall time and peak RSS.
template <typename F>
Result in_child(F work) {
  int fd[2];
  if (pipe(fd) != 0) std::exit(1);
  pid_t pid = fork();
  if (pid == 0) {
    close(fd[0]);
    auto t0 = std::chrono::steady_clock::now();
    bool ok = work();
    Result r;
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    r.peak_kib = ru.ru_maxrss;
    if (write(fd[1], &r, sizeof r) != sizeof r) _exit(1);
    _exit(ok ? 0 : 1);
  }
  close(fd[1]);
  Result r;
  bool got = read(fd[0], &r, sizeof r) == sizeof r;
  close(fd[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (!got || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "benchmark child failed\n");
    std::exit(1);
  }
  return r;
}

bool through_front_end(const std::string& out, uint64_t bytes) {
  scripted::set_stream(bytes, kPiece, 44);
  uint32_t r =
      Talvern_Impl("Benchmark text.", false, out.c_str(), nullptr, nullptr, nullptr, nullptr);
  if (r != 0) std::fprintf(stderr, "Talvern_Impl: 0x%08x\n", r);
  return r == 0;
}

bool plain_fwrite(const std::string& out, uint64_t bytes) {
  FILE* f = std::fopen(out.c_str(), "wb");
  if (!f) return false;
  std::vector<uint8_t> header = scripted::wave_header(44);
  std::fwrite(header.data(), 1, header.size(), f);
  std::vector<uint8_t> piece(kPiece);
  for (uint64_t done = 0; done < bytes;) {
    uint64_t left = bytes - done;
    uint32_t n = left < kPiece ? static_cast<uint32_t>(left) : kPiece;
    done += n;
    std::memset(piece.data(), static_cast<uint8_t>(done), n);  // as the engine fills
    std::fwrite(piece.data(), 1, n, f);
  }
  return std::fclose(f) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string dir = argc > 1 ? argv[1] : "/tmp";
  double gib = argc > 2 ? std::atof(argv[2]) : 1.0;
  std::string out = dir + "/tavn-bench.wav";
  const uint64_t sizes[] = {100ull << 20, static_cast<uint64_t>(gib * (1ull << 30))};

  std::printf("%-12s %-14s %10s %12s %12s\n", "audio", "writer", "seconds", "MiB/s",
              "peak RSS KiB");
  for (uint64_t bytes : sizes) {
    double mib = static_cast<double>(bytes) / (1 << 20);
    Result plain = in_child([&] { return plain_fwrite(out, bytes); });
    std::remove(out.c_str());
    Result front = in_child([&] { return through_front_end(out, bytes); });
    std::remove(out.c_str());
    std::printf("%-12.0f %-14s %10.3f %12.1f %12ld\n", mib, "fwrite loop", plain.seconds,
                mib / plain.seconds, plain.peak_kib);
    std::printf("%-12.0f %-14s %10.3f %12.1f %12ld\n", mib, "Talvern_Impl", front.seconds,
                mib / front.seconds, front.peak_kib);
    std::printf("%-12.0f %-14s %10.2f  (front-end speed / fwrite speed)\n", mib, "ratio",
                plain.seconds / front.seconds);
  }
  return 0;
}
