// Load for a farm of speech servers: THREADS threads make REQUESTS requests
// in all through libtavn with conn_str1 = ADDRESS, each writing its audio
// to OUT_DIR.  A request that fails is made once more (as a caller would)
// and counted.  With KILL_PID, that process gets SIGKILL once half the
// requests are done.
//
//   farm_client ADDRESS THREADS REQUESTS OUT_DIR [KILL_PID]
//
// Prints "requests N ok N retried N failed N" and the first failure's code;
// exits 0 when every request succeeded (at the first or second attempt).
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "synth/tavn.h"

namespace {

constexpr char kText[] = "The farm answers this request. Two servers share the work behind one proxy.";

bool speak(const std::string& address, const std::string& out, uint32_t* code) {
  *code = TalvernSynth(kText, false, out.c_str(), address.c_str(), "", "timeout=10000");
  struct stat st;
  return *code == 0 && stat(out.c_str(), &st) == 0 && st.st_size > 44;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5 && argc != 6) {
    std::fprintf(stderr, "usage: farm_client ADDRESS THREADS REQUESTS OUT_DIR [KILL_PID]\n");
    return 2;
  }
  const std::string address = argv[1], dir = argv[4];
  const int threads = std::atoi(argv[2]), requests = std::atoi(argv[3]);
  const pid_t kill_pid = argc == 6 ? static_cast<pid_t>(std::atol(argv[5])) : 0;
  std::atomic<int> next{0}, done{0}, ok{0}, retried{0}, failed{0};
  std::atomic<uint32_t> first_failure{0};
  std::atomic<bool> killed{false};
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t) {
    pool.emplace_back([&, t] {
      const std::string out = dir + "/t" + std::to_string(t) + ".wav";
      while (next++ < requests) {
        uint32_t code = 0;
        bool good = speak(address, out, &code);
        if (!good) {
          uint32_t none = 0;
          first_failure.compare_exchange_strong(none, code);
          ++retried;
          good = speak(address, out, &code);
        }
        ++(good ? ok : failed);
        if (++done >= requests / 2 && kill_pid > 0 && !killed.exchange(true)) {
          kill(kill_pid, SIGKILL);
          std::printf("killed %d after %d requests\n", static_cast<int>(kill_pid), done.load());
        }
      }
    });
  }
  for (std::thread& t : pool) t.join();
  std::printf("requests %d ok %d retried %d failed %d first failure 0x%08x\n", requests, ok.load(), retried.load(),
              failed.load(), first_failure.load());
  return failed == 0 && ok == requests ? 0 : 1;
}
