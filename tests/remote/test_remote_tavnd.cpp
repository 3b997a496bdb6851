// Whole requests through libtavn with tavnd running: the same files and
// synch text as in process, and a server that stops or dies mid-request.
//
// libespeak-ng carries a little state from each request into the next, so a
// request is compared with the in-process request that has the same history:
// each case starts a fresh tavnd with one worker, and this process (fresh
// too: CTest runs every case alone) speaks the same requests in the same
// order.
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "synth/kavritts.h"
#include "synth/tavn.h"
#include "tests/server/tavnd_client.h"
#include "tests/support/test_support.h"

namespace {

using namespace tavn::speech;
using Clock = std::chrono::steady_clock;

const char kText[] = "Hello through the server. A second sentence? Yes, a third one, said slowly.";

// A folder with a short path: "unix:" + it + "/tavnd.sock" fits conn_str1.
class ShortDir {
 public:
  ShortDir() {
    char tmpl[] = "/tmp/tvXXXXXX";
    if (mkdtemp(tmpl) != nullptr) path_ = tmpl;
  }
  ~ShortDir() {
    std::error_code ec;
    if (!path_.empty()) std::filesystem::remove_all(path_, ec);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class RemoteTavnd : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.path().empty());
    tavnd_ = std::make_unique<tavn::test::TavndProcess>(dir_.path(), std::vector<std::string>{"--workers", "1"});
    ASSERT_TRUE(tavnd_->started()) << tavnd_->log();
    ASSERT_LE(tavnd_->address().size(), sizeof(TTSConnectRecord::conn_str1) - 1);
  }
  void TearDown() override { tavnd_.reset(); }

  // Speaks kText into `out` in process (`conn` empty) or through tavnd;
  // returns the result and the synch text.
  uint32_t say(const std::string& conn, const std::string& params, const std::string& out, std::string* synch) {
    std::vector<char> buffer(8192);
    char* p = buffer.data();
    const uint32_t r = TavnSynthSyn(kText, false, out.c_str(), conn.c_str(), "", params.c_str(), "", &p,
                                    static_cast<int>(buffer.size() - 1));
    *synch = buffer.data();
    return r;
  }

  ShortDir dir_;
  std::unique_ptr<tavn::test::TavndProcess> tavnd_;
};

// Every kind of format: PCM, G.711 (58-byte header), raw G.726 and VOX,
// AMR-NB and -WB, MP3; then a flite voice, whose noise comes from rand().
TEST_F(RemoteTavnd, SameFilesAndSynchAsInProcess) {
  const struct {
    const char* params;
    bool same_bytes;  // else the same length
  } cases[] = {
      {"5=4", true},
      {"5=1", true},
      {"5=3,rate=220", true},
      {"5=9", true},
      {"5=12,pitch=70", true},
      {"5=17", true},
      {"5=22", true},
      {"5=23", true},
      {"5=26", true},
      {"5=28,voice=de", true},
      {"5=30", true},
      {"voice=flite:kal16", false},
      {"voice=flite:slt,5=12", false},
  };
  const std::string out = dir_.path() + "/out.wav", local = dir_.path() + "/local.wav";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.params);
    std::string local_synch, remote_synch;
    ASSERT_EQ(say("", c.params, out, &local_synch), 0u);
    std::filesystem::rename(out, local);
    ASSERT_EQ(say(tavnd_->address(), c.params, out, &remote_synch), 0u) << tavnd_->log();
    const std::vector<uint8_t> a = read_bytes(local), b = read_bytes(out);
    ASSERT_GT(a.size(), 100u);
    if (c.same_bytes) {
      EXPECT_TRUE(a == b) << a.size() << " bytes in process, " << b.size() << " through tavnd";
    } else {
      EXPECT_EQ(a.size(), b.size());
    }
    EXPECT_EQ(local_synch, remote_synch);
  }
}

// The server stopped (silent) or killed while a request runs: the next
// fetch fails within the timeout, or at once when the connection closes.
TEST(RemoteTavndFaults, ServerGoingAwayEndsTheRequest) {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "This sentence is one of a long text. ";
  ASSERT_EQ(TTSInitialize(), 0u);
  for (int sig : {SIGSTOP, SIGKILL}) {
    SCOPED_TRACE(sig == SIGSTOP ? "stopped" : "killed");
    ShortDir dir;
    tavn::test::TavndProcess tavnd(dir.path(), {"--workers", "1"});
    ASSERT_TRUE(tavnd.started()) << tavnd.log();
    TTSConnectRecord c{};
    c.record_tag = 0x101;
    std::snprintf(c.params, sizeof c.params, "timeout=2000");
    std::snprintf(c.conn_str1, sizeof c.conn_str1, "%s", tavnd.address().c_str());
    const uint32_t h = TTSConnect(&c);
    ASSERT_NE(h, 0u) << find_engine_code(c.error_code)->name;
    TTSSynthRecord rec{};
    rec.text = text.c_str();
    rec.text_length = static_cast<uint32_t>(text.size());
    ASSERT_EQ(TTSSynthText(h, &rec), 0u);
    ASSERT_EQ(TTSFetchNext(h, &rec), 0u);
    ASSERT_EQ(rec.status, 1u);
    const std::vector<pid_t> workers = tavnd.workers();
    kill(tavnd.pid(), sig);
    for (pid_t w : workers) kill(w, sig);
    const auto start = Clock::now();
    uint32_t r = 0;
    for (int i = 0; i < 1000 && r == 0 && rec.status == 1; ++i) r = TTSFetchNext(h, &rec);
    EXPECT_EQ(r, ENGINE_ERR_SERVER_FAILED);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(TTSDisconnect(h), 0u);
    for (pid_t w : workers) kill(w, SIGKILL);
  }
}

}  // namespace
