// tavnd's command line as a user meets it: exit statuses and messages, and
// who it runs as.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/server/tavnd_client.h"
#include "tests/support/test_support.h"

namespace {

// Standard output and error of tavnd with `args`; its exit status in *status.
std::string run_tavnd(const std::string& args, int* status) {
  std::string out;
  FILE* p = popen(("timeout 20 " TAVND_PATH " " + args + " 2>&1").c_str(), "r");
  char buf[4096];
  for (size_t n; p != nullptr && (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int s = p == nullptr ? -1 : pclose(p);
  *status = WIFEXITED(s) ? WEXITSTATUS(s) : -1;
  return out;
}

TEST(TavndCommand, BadOptionsExitWith2AndSayWhy) {
  Temp_Dir dir;
  const std::string bad_config = dir.write("bad.conf", "workers = 2\nlisten 127.0.0.1:1\n");
  const std::pair<std::string, std::string> cases[] = {
      {"--nope", "unknown option: --nope"},
      {"--workers", "--workers needs a value"},
      {"--workers 0", "--workers 0: expected a number from 1 to 256"},
      {"--read-timeout soon", "--read-timeout soon: expected seconds"},
      {"--listen tavn.example:80", "expected unix:/PATH (at most 107 bytes), IPV4:PORT or [IPV6]:PORT"},
      {"--listen unix:relative.sock", "expected unix:/PATH"},
      {"--audio-root /a,b", "without blanks, commas or semicolons"},
      {"--allow-root=yes", "--allow-root takes no value"},
      {"stray", "unexpected argument: stray"},
      {"--config " + dir.file("missing.conf"), "cannot read the configuration file"},
      {"--config " + bad_config, "bad.conf: line 2: expected key = value"},
  };
  for (const auto& [args, message] : cases) {
    int status = -1;
    const std::string out = run_tavnd(args, &status);
    EXPECT_EQ(status, 2) << args;
    EXPECT_NE(out.find(message), std::string::npos) << args << ": " << out;
  }
  int status = -1;
  EXPECT_NE(run_tavnd("--help", &status).find("--request-timeout SECONDS"), std::string::npos);
  EXPECT_EQ(status, 0);
}

TEST(TavndCommand, StartedAsRootItRunsAsTheNamedUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  int status = -1;
  EXPECT_NE(run_tavnd("--listen 127.0.0.1:0", &status).find("refusing to run as root"), std::string::npos);
  EXPECT_EQ(status, 2);
  Temp_Dir dir;
  chmod(dir.path().c_str(), 0755);
  tavn::test::TavndProcess server(dir.path(), {"--user", "nobody", "--workers", "1"});
  ASSERT_TRUE(server.started()) << server.log();
  for (pid_t pid : {server.pid(), server.workers().at(0)}) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line) && line.rfind("Uid:", 0) != 0) {
    }
    EXPECT_EQ(line.find("\t0\t"), std::string::npos) << pid << ": " << line;
  }
}

}  // namespace
