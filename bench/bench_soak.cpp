// Soak run: THREADS threads x REQUESTS requests each through TalvernSynth
// with "level = all" and "maxsize = 40960" (the log rotates every few
// hundred requests).  Prints requests per second, resident memory (current
// and peak) and open descriptors after the first 10% of the requests and at
// the end, which must stay flat, and checks that every line of every log
// file left behind is whole.  For comparison the same requests run with the
// default level (errors and warnings only, no rotation), in the same run.
// Each run is its own process, so its log is complete when it is checked.
//
//   bench_soak [THREADS] [REQUESTS]     (defaults: 8, 20000)
#include <dirent.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "synth/tavn.h"
#include "tests/support/log_lines.h"

namespace {

struct Sample {
  long rss_kib = 0, peak_kib = 0, fds = 0;
};

struct Figures {
  double seconds = 0;
  long failures = 0;
  Sample early, end;
};

long open_descriptors() {
  long n = 0;
  if (DIR* d = opendir("/proc/self/fd")) {
    while (readdir(d) != nullptr) ++n;
    closedir(d);
  }
  return n - 3;  // ".", ".." and the directory's own descriptor
}

Sample sample() {
  Sample s;
  long pages = 0, resident = 0;
  if (FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  s.rss_kib = resident * (sysconf(_SC_PAGESIZE) / 1024);
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  s.peak_kib = ru.ru_maxrss;
  s.fds = open_descriptors();
  return s;
}

// Runs the requests in this process: the first of the process starts the
// module, the rest spread over `threads` threads.
Figures soak(int threads, int requests) {
  std::atomic<long> done{0}, failures{0};
  const long total = static_cast<long>(threads) * requests;
  auto t0 = std::chrono::steady_clock::now();
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&, t] {
      const std::string out = "soak-" + std::to_string(t) + ".wav";
      for (int i = 0; i < requests; ++i) {
        const std::string text =
            "Soak request " + std::to_string(t) + "-" + std::to_string(i) + ".";
        if (TalvernSynth(text.c_str(), false, out.c_str(), "c1", nullptr, "p") != 0) ++failures;
        ++done;
      }
    });
  Figures f;
  while (done.load() < total / 10) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  f.early = sample();
  for (std::thread& t : pool) t.join();
  f.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  f.end = sample();
  f.failures = failures.load();
  return f;
}

// Every line is a whole record or a line of a head or tail block.
long torn_lines(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  const std::string text = ss.str();
  long torn = !text.empty() && text.back() != '\n';
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) torn += !whole_log_line(line);
  return torn;
}

// Runs one soak in a child working in a fresh directory with `cfg`; prints
// its figures and checks its log files.  Returns requests per second.
double run(const char* name, const std::string& cfg, int threads, int requests) {
  char tmpl[] = "/tmp/tavn-soak-XXXXXX";
  const std::string dir = mkdtemp(tmpl);
  int fd[2];
  if (pipe(fd) != 0) std::exit(1);
  std::fflush(stdout);  // the child must not print the parent's buffered lines again
  pid_t pid = fork();
  if (pid == 0) {
    close(fd[0]);
    if (chdir(dir.c_str()) != 0) _exit(1);
    std::ofstream("tavn.cfg") << cfg;
    Figures f = soak(threads, requests);
    if (write(fd[1], &f, sizeof f) != sizeof f) _exit(1);
    exit(0);  // exit(): the exit hook writes the tail block
  }
  close(fd[1]);
  Figures f;
  const bool got = read(fd[0], &f, sizeof f) == sizeof f;
  int status = 0;
  waitpid(pid, &status, 0);
  if (!got || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::printf("%s: the run failed\n", name);
    std::exit(1);
  }
  long files = 0, torn = 0;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d)) {
      const std::string n = e->d_name;
      if (n.size() > 4 && n.compare(n.size() - 4, 4, ".log") == 0) {
        ++files;
        torn += torn_lines(dir + "/" + n);
      }
    }
    closedir(d);
  }
  std::system(("rm -rf '" + dir + "'").c_str());
  const long total = static_cast<long>(threads) * requests;
  const double rate = total / f.seconds;
  std::printf("%s: %d x %d requests in %.2f s = %.0f requests/s, %ld failed\n", name, threads,
              requests, f.seconds, rate, f.failures);
  std::printf("  after 10%%: RSS %ld KiB (peak %ld KiB), %ld open descriptors\n", f.early.rss_kib,
              f.early.peak_kib, f.early.fds);
  std::printf("  at the end: RSS %ld KiB (peak %ld KiB), %ld open descriptors\n", f.end.rss_kib,
              f.end.peak_kib, f.end.fds);
  std::printf("  %ld log files left, %ld torn lines\n", files, torn);
  if (f.failures != 0 || torn != 0) std::exit(1);
  return rate;
}

}  // namespace

int main(int argc, char** argv) {
  const int threads = argc > 1 ? std::atoi(argv[1]) : 8;
  const int requests = argc > 2 ? std::atoi(argv[2]) : 20000;
  const double all = run("level = all, maxsize = 40960", "[logger]\nlevel = all\nmaxsize = 40960\n",
                         threads, requests);
  const double quiet = run("default level (errors and warnings)", "", threads, requests);
  std::printf(
      "level = all with rotation runs at %.2f x the requests per second of the default "
      "level\n",
      all / quiet);
  return 0;
}
