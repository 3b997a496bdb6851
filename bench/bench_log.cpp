// Writes the same info records, about 100 bytes each, through log_info
// (default style, level "info") and through spdlog with a basic file sink
// flushed after every record, and prints records per second for both.
// Each round runs both loops into fresh files, in alternating order; the
// best round of each is reported.  Then 1, 2 and 4 threads log the same
// number of records at once through one logger (records per second, best
// round).
//
//   bench_log [RECORDS] [ROUNDS] [DIR]     (defaults: 1000000, 3, /tmp)
//
// The files go to a fresh directory under DIR, removed at the end.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "log/log_cfg.h"
#include "log/log_impl.h"
#include "log/log_io.h"
#include "log/log_mutex.h"

namespace {

using Logger = Log_Impl_T<Log_Uni_Type<Log_IO_FILE, __LOG_TOK_Log_IO_FILE_TAVN_LoggerLog_IO_FILE__>,
                          Log_Win32_Process_Mutex, Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>>;

// "request 0000042 done: voice=en-narrow bytes=048213"
const char kFormat[] = "request %07d done: voice=%s bytes=%06d";
const char kFmtFormat[] = "request {:07d} done: voice={} bytes={:06d}";

// Wall, user and system seconds of one loop.
struct Times {
  double wall = 0, user = 0, sys = 0;
};

class Stopwatch {
 public:
  Stopwatch() : start_(std::chrono::steady_clock::now()) { getrusage(RUSAGE_SELF, &usage_); }
  Times elapsed() const {
    rusage now;
    getrusage(RUSAGE_SELF, &now);
    Times t;
    t.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    t.user = seconds(now.ru_utime) - seconds(usage_.ru_utime);
    t.sys = seconds(now.ru_stime) - seconds(usage_.ru_stime);
    return t;
  }

 private:
  static double seconds(const timeval& tv) {
    return static_cast<double>(tv.tv_sec) + tv.tv_usec / 1e6;
  }
  std::chrono::steady_clock::time_point start_;
  rusage usage_;
};

long file_size(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<long>(st.st_size) : -1;
}

// Opens a logger on `path` writing info records into one file.
void open_bench_logger(Logger& log, const std::string& path) {
  unlink(path.c_str());
  Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg> cfg;
  cfg.file_name_ = path;
  cfg.title_ = "Bench Logging";
  cfg.level_ = 15;  // "info"
  cfg.locale_ = "skip";
  // One file, as with spdlog's basic sink: the size is still checked for
  // every record, but the limit is never reached.
  cfg.max_size_ = 0xFFFFFFFFu;
  if (log.open(&cfg, nullptr, nullptr) != 0) {
    fprintf(stderr, "cannot open %s\n", path.c_str());
    exit(1);
  }
}

Times run_tavn(const std::string& path, int records) {
  Logger log;
  open_bench_logger(log, path);
  const Stopwatch watch;
  for (int i = 0; i < records; ++i) log.log_info(kFormat, i, "en-narrow", (i * 7919) % 1000000);
  log.flush();
  const Times times = watch.elapsed();
  log.close();
  return times;
}

// `threads` threads share `records` records through one logger.
Times run_tavn_threads(const std::string& path, int records, int threads) {
  Logger log;
  open_bench_logger(log, path);
  const Stopwatch watch;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t)
    workers.emplace_back([&log, records, threads, t] {
      for (int i = t; i < records; i += threads)
        log.log_info(kFormat, i, "en-narrow", (i * 7919) % 1000000);
    });
  for (std::thread& w : workers) w.join();
  log.flush();
  const Times times = watch.elapsed();
  log.close();
  return times;
}

Times run_spdlog(const std::string& path, int records) {
  unlink(path.c_str());
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_st>(path, true);
  spdlog::logger log("bench", sink);
  // The same prefix parts as the default style: date and time with
  // milliseconds, level, process and thread.
  log.set_pattern("[%y/%m/%d-%H:%M:%S %e][INF][Px%P][Tx%t] %v");
  log.set_level(spdlog::level::info);
  log.flush_on(spdlog::level::info);
  const Stopwatch watch;
  for (int i = 0; i < records; ++i) log.info(kFmtFormat, i, "en-narrow", (i * 7919) % 1000000);
  log.flush();
  return watch.elapsed();
}

}  // namespace

int main(int argc, char** argv) {
  const int records = argc > 1 ? atoi(argv[1]) : 1000000;
  const int rounds = argc > 2 ? atoi(argv[2]) : 3;
  std::string dir = std::string(argc > 3 ? argv[3] : "/tmp") + "/tavn_bench_log_XXXXXX";
  if (mkdtemp(&dir[0]) == nullptr) {
    perror("mkdtemp");
    return 1;
  }
  const std::string tavn_path = dir + "/tavn.log";
  const std::string spd_path = dir + "/spdlog.log";

  Times best_tavn{1e30, 0, 0};
  Times best_spd{1e30, 0, 0};
  for (int round = 0; round < rounds; ++round) {
    // Alternate which loop goes first, so neither always runs while the
    // other's file is still being written back.
    Times t, s;
    if (round % 2 == 0) {
      t = run_tavn(tavn_path, records);
      s = run_spdlog(spd_path, records);
    } else {
      s = run_spdlog(spd_path, records);
      t = run_tavn(tavn_path, records);
    }
    printf(
        "round %d: tavn %.3f s (user %.3f, system %.3f), spdlog %.3f s (user %.3f, system %.3f)\n",
        round + 1, t.wall, t.user, t.sys, s.wall, s.user, s.sys);
    if (t.wall < best_tavn.wall) best_tavn = t;
    if (s.wall < best_spd.wall) best_spd = s;
  }
  const long tavn_bytes = file_size(tavn_path);
  const long spd_bytes = file_size(spd_path);
  printf("records: %d (%.1f bytes each in the tavn log, %.1f in the spdlog log)\n", records,
         static_cast<double>(tavn_bytes) / records, static_cast<double>(spd_bytes) / records);
  printf("tavn log_info:            %10.0f records/s\n", records / best_tavn.wall);
  printf("spdlog, flush per record: %10.0f records/s\n", records / best_spd.wall);
  printf("ratio tavn/spdlog:        %10.2f\n", best_spd.wall / best_tavn.wall);

  for (int threads : {1, 2, 4}) {
    double best = 1e30;
    for (int round = 0; round < rounds; ++round)
      best = std::min(best, run_tavn_threads(tavn_path, records, threads).wall);
    printf("tavn log_info, %d thread%s: %10.0f records/s\n", threads, threads > 1 ? "s" : " ",
           records / best);
  }
  unlink(tavn_path.c_str());
  unlink(spd_path.c_str());
  rmdir(dir.c_str());
  return 0;
}
