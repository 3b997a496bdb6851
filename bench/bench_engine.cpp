// Real-time factor (processing time / audio time) of TalvernSynth through the
// speech engine, next to the command a user would run instead writing the
// same text with the same voice to a WAVE file (espeak-ng -w; for a flite:
// voice, flite -voice NAME -f), for a short and a long text.  Then requests
// per second with 1 and with 2 threads speaking at once in one process.  Every run is a
// process of its own, and each figure is the best of several runs:
//   cold: one request in a fresh process (start-up and voice loading
//         included), like one espeak-ng command;
//   warm: a request in a process that has spoken before.
// Also reports the peak resident memory (ru_maxrss) of each kind of run.
//
//   bench_engine [DIR] [RUNS] [VOICE] [FORMAT]  (defaults: /tmp, 3, en, the engine's default)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_text.h"
#include "synth/tavn.h"

namespace {

struct Run {
  double wall = 0, cpu = 0;  // seconds
  long peak_kib = 0;
  bool ok = false;
};

double seconds_since(std::chrono::steady_clock::time_point t0) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

double cpu_seconds(const struct rusage& ru) {
  return ru.ru_utime.tv_sec + ru.ru_stime.tv_sec +
         (ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

// Runs `child` (which returns an exit status) in a new process.
template <typename F>
Run in_child(F child) {
  const auto t0 = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) _exit(child());
  int status = 0;
  struct rusage ru;
  Run r;
  if (pid < 0 || wait4(pid, &status, 0, &ru) != pid) return r;
  r.wall = seconds_since(t0);
  r.cpu = cpu_seconds(ru);
  r.peak_kib = ru.ru_maxrss;
  r.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return r;
}

// For warm runs: the child speaks once untimed, then reports the times of
// the second request through a pipe.
Run warm_child(const std::string& text, const std::string& wav, const std::string& params) {
  int fd[2];
  if (pipe(fd) != 0) return Run();
  Run outer = in_child([&] {
    close(fd[0]);
    if (TalvernSynth("Warming up.", false, wav.c_str(), "", "", params.c_str()) != 0) return 1;
    struct rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    const auto t0 = std::chrono::steady_clock::now();
    const uint32_t r = TalvernSynth(text.c_str(), false, wav.c_str(), "", "", params.c_str());
    Run inner;
    inner.wall = seconds_since(t0);
    getrusage(RUSAGE_SELF, &after);
    inner.cpu = cpu_seconds(after) - cpu_seconds(before);
    inner.ok = r == 0;
    return write(fd[1], &inner, sizeof inner) == sizeof inner && inner.ok ? 0 : 1;
  });
  close(fd[1]);
  Run inner;
  const bool got = read(fd[0], &inner, sizeof inner) == sizeof inner;
  close(fd[0]);
  if (!got || !outer.ok) return Run();
  inner.peak_kib = outer.peak_kib;
  return inner;
}

// Playing time of a PCM WAVE file from its header (44-byte layouts only, so
// FORMAT must be a PCM row).
double wave_seconds(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  unsigned char h[44];
  if (!f.read(reinterpret_cast<char*>(h), sizeof h) || std::memcmp(h + 36, "data", 4) != 0)
    return 0;
  auto get32 = [&](int at) {
    return uint32_t(h[at]) | uint32_t(h[at + 1]) << 8 | uint32_t(h[at + 2]) << 16 |
           uint32_t(h[at + 3]) << 24;
  };
  // From the sample rate and block size: flite -f writes a wrong byte rate
  // for its 8 kHz voice.
  const uint32_t byte_rate = get32(24) * (uint32_t(h[32]) | uint32_t(h[33]) << 8);
  return byte_rate == 0 ? 0 : double(get32(40)) / byte_rate;
}

void keep_best(Run* best, const Run& r) {
  if (!r.ok) return;
  if (!best->ok || r.wall < best->wall) {
    const long peak = best->peak_kib > r.peak_kib ? best->peak_kib : r.peak_kib;
    *best = r;
    best->peak_kib = peak;
  }
}

// Requests per second of `threads` threads each speaking `text` in a loop
// for about `seconds` (one warm-up request per thread first).
// *cores: CPU seconds used per wall second, i.e. how many threads really ran.
double requests_per_second(int threads, const std::string& text, const std::string& params,
                           const std::string& dir, double seconds, double* cores) {
  struct rusage before, after;
  getrusage(RUSAGE_SELF, &before);
  std::atomic<long> done{0};
  std::atomic<bool> failed{false};
  std::vector<std::thread> pool;
  const auto t0 = std::chrono::steady_clock::now();
  for (int t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      const std::string wav = dir + "/bench_engine_thread" + std::to_string(t) + ".wav";
      while (seconds_since(t0) < seconds) {
        if (TalvernSynth(text.c_str(), false, wav.c_str(), "", "", params.c_str()) != 0)
          failed = true;
        ++done;
      }
      std::remove(wav.c_str());
    });
  }
  for (std::thread& t : pool) t.join();
  const double wall = seconds_since(t0);
  getrusage(RUSAGE_SELF, &after);
  *cores = (cpu_seconds(after) - cpu_seconds(before)) / wall;
  return failed ? 0 : done / wall;
}

constexpr char kUsage[] =
    "usage: bench_engine [DIR] [RUNS] [VOICE] [FORMAT]\n"
    "  DIR     writable folder for the audio and text files (default /tmp)\n"
    "  RUNS    runs per figure, 1 to 1000; the best counts (default 3)\n"
    "  VOICE   voice name, e.g. en, cmn, flite:slt (default en)\n"
    "  FORMAT  audio format 0 to 30 (default: the engine's own)\n";

// A whole decimal number from `lo` to `hi`, else -1.
long whole_number(const char* s, long lo, long hi) {
  char* end = nullptr;
  const long v = std::strtol(s, &end, 10);
  return *s >= '0' && *s <= '9' && *end == '\0' && v >= lo && v <= hi ? v : -1;
}

// "" when the arguments are usable, else what is wrong with them.
std::string check_args(int argc, char** argv) {
  if (argc > 5) return "too many arguments";
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') return std::string("unknown option ") + argv[i];
  }
  if (argc > 1 && access(argv[1], W_OK | X_OK) != 0)
    return std::string("DIR ") + argv[1] + " is not a writable folder";
  if (argc > 2 && whole_number(argv[2], 1, 1000) < 0) return "RUNS must be a number from 1 to 1000";
  if (argc > 3 && (argv[3][0] == '\0' || std::strpbrk(argv[3], ",;= \t") != nullptr))
    return "VOICE must be a name without blanks, ',', ';' or '='";
  if (argc > 4 && whole_number(argv[4], 0, 30) < 0) return "FORMAT must be a number from 0 to 30";
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "-h") == 0 || std::strcmp(argv[i], "--help") == 0) {
      std::fputs(kUsage, stdout);
      return 0;
    }
  }
  const std::string bad = check_args(argc, argv);
  if (!bad.empty()) {
    std::fprintf(stderr, "bench_engine: %s\n%s", bad.c_str(), kUsage);
    return 2;
  }
  const std::string dir = argc > 1 ? argv[1] : "/tmp";
  const int runs = argc > 2 ? std::atoi(argv[2]) : 3;
  const std::string voice = argc > 3 ? argv[3] : "en";
  const std::string format = argc > 4 ? argv[4] : "";
  const std::string params = "voice=" + voice + (format.empty() ? "" : ",5=" + format);
  const std::string ours = dir + "/bench_engine_tavn.wav",
                    theirs = dir + "/bench_engine_espeak.wav";
  const std::string text_file = dir + "/bench_engine_text.txt";

  struct Case {
    const char* name;
    std::string text;
  } cases[] = {
      {"short", "The quick brown fox jumps over the lazy dog. Then it runs away!"},
      {"long", long_text()},
  };
  std::printf("voice %s, format %s, best of %d runs; RTF = processing time / audio time\n",
              voice.c_str(), format.empty() ? "default" : format.c_str(), runs);
  std::printf("%-6s %6s %8s | %-14s %9s %9s %9s | %s\n", "text", "bytes", "audio s", "runner",
              "wall RTF", "cpu RTF", "peak MiB", "RTF ratio (wall, cpu) to the command");
  for (const Case& c : cases) {
    std::ofstream(text_file, std::ios::binary) << c.text;
    Run espeak, cold, warm;
    for (int i = 0; i < runs; ++i) {
      keep_best(&espeak, in_child([&] {
        if (voice.rfind("flite:", 0) == 0) {
          execlp("flite", "flite", "-voice", voice.c_str() + 6, "-f", text_file.c_str(), "-o",
                 theirs.c_str(), static_cast<char*>(nullptr));
        } else {
          execlp("espeak-ng", "espeak-ng", "-v", voice.c_str(), "-w", theirs.c_str(), "-f",
                 text_file.c_str(), static_cast<char*>(nullptr));
        }
        return 127;
      }));
      keep_best(&cold, in_child([&] {
        return TalvernSynth(c.text.c_str(), false, ours.c_str(), "", "", params.c_str()) == 0 ? 0
                                                                                              : 1;
      }));
      keep_best(&warm, warm_child(c.text, ours, params));
    }
    const double audio_ours = wave_seconds(ours), audio_theirs = wave_seconds(theirs);
    if (!espeak.ok || !cold.ok || !warm.ok || audio_ours <= 0 || audio_theirs <= 0) {
      std::fprintf(stderr, "bench_engine: a run failed (%s text)\n", c.name);
      return 1;
    }
    const double e_wall = espeak.wall / audio_theirs, e_cpu = espeak.cpu / audio_theirs;
    auto row = [&](const char* runner, const Run& r, double audio, bool compare) {
      std::printf("%-6s %6zu %8.2f | %-14s %9.4f %9.4f %9.1f |", c.name, c.text.size(), audio,
                  runner, r.wall / audio, r.cpu / audio, r.peak_kib / 1024.0);
      if (compare) std::printf(" %.3f, %.3f", (r.wall / audio) / e_wall, (r.cpu / audio) / e_cpu);
      std::printf("\n");
    };
    row(voice.rfind("flite:", 0) == 0 ? "flite -f" : "espeak-ng -w", espeak, audio_theirs, false);
    row("tavn cold", cold, audio_ours, true);
    row("tavn warm", warm, audio_ours, true);
  }
  // Six sentences, about 30 s of speech.
  const std::string paragraph = long_text().substr(0, 450);
  double cores1 = 0, cores2 = 0;
  const double one = requests_per_second(1, paragraph, params, dir, 5, &cores1);
  const double two = requests_per_second(2, paragraph, params, dir, 5, &cores2);
  std::printf(
      "requests/s, %zu-byte text: 1 thread %.2f (%.2f cores busy), 2 threads %.2f (%.2f cores "
      "busy), x%.2f\n",
      paragraph.size(), one, cores1, two, cores2, one > 0 ? two / one : 0);
  std::remove(ours.c_str());
  std::remove(theirs.c_str());
  std::remove(text_file.c_str());
  return one > 0 && two > 0 ? 0 : 1;
}
