// tavnd as a program: started on a private Unix socket, driven over HTTP,
// its answers compared with the engine's own Connection in this process.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <regex>
#include <thread>

#include "engines/speech/backends/backend.h"
#include "engines/speech/connection.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "tests/server/tavnd_client.h"
#include "tests/support/test_support.h"

namespace {

using namespace tavn::speech;
using tavn::test::Reply;
using tavn::test::TavndClient;
using tavn::test::TavndProcess;
using tavn::test::wait_for_health;
using Ms = std::chrono::milliseconds;

const std::string kText = "The quick brown fox jumps over the lazy dog. Then it runs away! Does it come back?";

// About 50 ms of speaking per sentence: long enough to be caught mid-request.
std::string long_text(int sentences) {
  std::string s;
  for (int i = 0; i < sentences; ++i) s += "This is sentence number " + std::to_string(i) + " of a long text. ";
  return s;
}

wire::Request request(wire::RequestKind kind, const std::string& params, const std::string& text = "",
                      uint32_t format = 0) {
  wire::Request r;
  r.kind = kind;
  r.params = params;
  r.text = text;
  r.format = format;
  return r;
}
wire::Request speak(const std::string& params, const std::string& text, uint32_t format = 0) {
  return request(wire::RequestKind::kSpeak, params, text, format);
}

std::vector<wire::Frame> frames_of(const Reply& reply) {
  std::vector<wire::Frame> frames;
  std::string why;
  EXPECT_TRUE(tavn::test::read_frames(reply.body, &frames, &why)) << why;
  return frames;
}

// The last frame's type and code: kEnd 0, kError and the engine result; a
// reply without one gives type 0.
std::pair<uint32_t, uint32_t> outcome(const Reply& reply) {
  const auto frames = frames_of(reply);
  if (reply.status != 200 || frames.empty()) return {0, static_cast<uint32_t>(reply.status)};
  return {static_cast<uint32_t>(frames.back().type), frames.back().code};
}
const std::pair<uint32_t, uint32_t> kSucceeded{static_cast<uint32_t>(wire::FrameType::kEnd), 0};
std::pair<uint32_t, uint32_t> failed(uint32_t code) { return {static_cast<uint32_t>(wire::FrameType::kError), code}; }

// The same request through the engine's Connection in this process, as
// frames: the pieces, then kEnd or kError.
std::vector<wire::Frame> in_process(const wire::Request& r) {
  static const uint32_t started = Backend::InitializeAll();
  EXPECT_EQ(started, 0u);
  std::vector<wire::Frame> out;
  EngineSettings settings;
  uint32_t code = parse_engine_params(r.params, &settings);
  if (code == 0) code = Backend::ForVoice(settings.voice).CheckVoice(settings.voice);
  Connection c(settings);
  if (code == 0 && r.format != 0) code = c.set_format(r.format);
  TTSSynthRecord rec{};
  rec.text = r.text.c_str();
  rec.text_length = static_cast<uint32_t>(r.text.size());
  for (code = code ? code : c.start(&rec); code == 0; code = c.next(&rec)) {
    wire::Frame f;
    f.code = rec.status;
    f.sentence_begin = rec.sentence_begin;
    f.sentence_end = rec.sentence_end;
    f.non_audio_bytes = rec.non_audio_bytes;
    f.bytes.assign(rec.audio, rec.audio + rec.audio_length);
    out.push_back(f);
    if (rec.status == 0) break;
  }
  wire::Frame last;
  last.type = code == 0 ? wire::FrameType::kEnd : wire::FrameType::kError;
  last.code = code;
  out.push_back(last);
  return out;
}

class Tavnd : public ::testing::Test {
 protected:
  void start(const std::vector<std::string>& args) {
    server_ = std::make_unique<TavndProcess>(dir_.path(), args);
    ASSERT_TRUE(server_->started()) << server_->log();
  }
  TavndClient client(Ms timeout = Ms(60'000)) const { return TavndClient(server_->address(), timeout); }
  bool health(const std::string& text, Ms wait = Ms(20'000)) const {
    return wait_for_health(server_->address(), text, wait, token_);
  }
  // Runs `r` on a thread of its own; join() gives the reply.
  struct Pending {
    std::thread thread;
    Reply reply;
    Reply join() {
      thread.join();
      return reply;
    }
  };
  std::unique_ptr<Pending> in_background(const wire::Request& r) {
    auto p = std::make_unique<Pending>();
    p->thread = std::thread([this, r, p = p.get()] { p->reply = client().engine(r, token_); });
    return p;
  }

  Temp_Dir dir_;
  std::unique_ptr<TavndProcess> server_;
  std::string token_;
};

TEST_F(Tavnd, CheckAnswersAsConnectDoes) {
  start({"--workers", "1"});
  const std::vector<std::pair<std::string, std::pair<uint32_t, uint32_t>>> cases = {
      {"", kSucceeded},
      {"voice=de,rate=200,pitch=10,volume=150,5=17", kSucceeded},
      {"voice=flite:kal", kSucceeded},
      {"voice=xx-nosuchvoice", failed(ENGINE_ERR_UNKNOWN_VOICE)},
      {"voice=flite:nobody", failed(ENGINE_ERR_UNKNOWN_VOICE)},
      {"rate=9999", failed(ENGINE_ERR_BAD_VALUE)},
      {"5=77", failed(ENGINE_ERR_FORMAT_REFUSED)},
  };
  TavndClient c = client();
  for (const auto& [params, expected] : cases) {
    EXPECT_EQ(outcome(c.engine(request(wire::RequestKind::kCheck, params))), expected) << params;
  }
}

// Every piece as in-process: status, sentence offsets, non_audio_bytes and
// the bytes themselves (flite: their length).  libespeak-ng's samples depend
// on what its process spoke before (its pitch flutter runs on from request
// to request), so one worker speaks the same requests in the same order as
// this process.
TEST_F(Tavnd, SpeakGivesTheInProcessPieces) {
  start({"--workers", "1"});
  struct Case {
    std::string params;
    uint32_t format;
    bool same_bytes;
  };
  const Case cases[] = {
      {"", 0, true},
      {"voice=en-us,rate=250", 1, true},
      {"5=9", 0, true},
      {"", 17, true},
      {"voice=de", 23, true},
      {"", 27, true},
      {"voice=flite:kal", 3, false},
      {"voice=flite:slt,5=4", 0, false},
  };
  TavndClient c = client();
  for (const Case& k : cases) {
    SCOPED_TRACE(k.params + " format " + std::to_string(k.format));
    const wire::Request r = speak(k.params, kText, k.format);
    const Reply reply = c.engine(r);
    ASSERT_EQ(reply.status, 200) << reply.body;
    EXPECT_EQ(reply.field("content-type"), wire::kContentType);
    const auto got = frames_of(reply);
    const auto want = in_process(r);
    ASSERT_EQ(got.size(), want.size());
    ASSERT_GT(got.size(), 3u);
    for (size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].type, want[i].type) << i;
      EXPECT_EQ(got[i].code, want[i].code) << i;
      EXPECT_EQ(got[i].sentence_begin, want[i].sentence_begin) << i;
      EXPECT_EQ(got[i].sentence_end, want[i].sentence_end) << i;
      EXPECT_EQ(got[i].non_audio_bytes, want[i].non_audio_bytes) << i;
      EXPECT_EQ(got[i].bytes.size(), want[i].bytes.size()) << i;
      if (k.same_bytes) {
        EXPECT_TRUE(got[i].bytes == want[i].bytes) << i;
      }
    }
  }
}

TEST_F(Tavnd, RefusalsAreAnsweredAndLogged) {
  token_ = "s3cret-token";
  start({"--workers", "1", "--token-file", dir_.write("token", token_ + "\n")});
  std::string good;
  wire::encode_request(speak("", "Hi."), &good);
  const std::string auth = "Authorization: Bearer " + token_;
  struct Case {
    const char* what;
    std::string method, target;
    std::vector<std::string> fields;
    std::string body;
    int status;
  };
  const Case cases[] = {
      {"no token", "POST", "/v1/engine", {"Tavn-Wire: 1"}, good, 401},
      {"wrong token", "POST", "/v1/engine", {"Tavn-Wire: 1", "Authorization: Bearer s3cret-tokeN"}, good, 401},
      {"token as a prefix", "GET", "/healthz", {"Authorization: Bearer s3cret"}, "", 401},
      {"other wire version", "POST", "/v1/engine", {"Tavn-Wire: 2", auth}, good, 400},
      {"no wire version", "POST", "/v1/engine", {auth}, good, 400},
      {"garbage body", "POST", "/v1/engine", {"Tavn-Wire: 1", auth}, "TVNQ\x02", 400},
      {"text over 64 KiB", "POST", "/v1/engine", {"Tavn-Wire: 1", auth}, std::string(70'000, 'a'), 413},
      {"unknown path", "GET", "/nowhere", {auth}, "", 404},
      {"wrong method", "GET", "/v1/engine", {auth}, "", 405},
      {"right token", "POST", "/v1/engine", {"Tavn-Wire: 1", auth}, good, 200},
  };
  const size_t logged_before = count(server_->log(), "refused a request");
  for (const Case& k : cases) {
    const Reply r = client().send(k.method, k.target, k.fields, k.body);
    EXPECT_EQ(r.status, k.status) << k.what << ": " << r.body;
    if (r.status == 400) {
      EXPECT_EQ(r.field("tavn-wire"), "1") << k.what;
    } else if (r.status == 401) {
      EXPECT_EQ(r.field("www-authenticate"), "Bearer") << k.what;
    }
  }
  EXPECT_EQ(count(server_->log(), "refused a request") - logged_before, std::size(cases) - 1) << server_->log();
}

// A worker killed mid-request, by a signal or for running too long, fails
// that request only, and is replaced.
TEST_F(Tavnd, AFailedWorkerCostsOneRequest) {
  struct Case {
    const char* what;
    std::string request_timeout;
    bool kill_it;
    const char* reason;
  };
  const Case cases[] = {
      {"SIGKILL", "60", true, "ended while speaking"},
      {"request timeout", "0.3", false, "ran longer than 300 ms"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    const std::string config = dir_.write("tavnd.conf", "request-timeout = " + k.request_timeout + "\n");
    start({"--workers", "1", "--config", config});
    const std::vector<pid_t> before = server_->workers();
    ASSERT_EQ(before.size(), 1u);
    auto pending = in_background(speak("", long_text(200)));
    ASSERT_TRUE(health("\"busy\":1"));
    if (k.kill_it) kill(before[0], SIGKILL);
    const Reply failed_reply = pending->join();
    const auto frames = frames_of(failed_reply);
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(outcome(failed_reply), failed(ENGINE_ERR_SERVER_FAILED));
    EXPECT_NE(std::string(frames.back().bytes.begin(), frames.back().bytes.end()).find(k.reason), std::string::npos);
    // The next request gets a whole minute, read again on SIGHUP: the time
    // limit applies from the next request on.
    write_file(config, "request-timeout = 60\n");
    const size_t reloads = count(server_->log(), "configuration read again");
    kill(server_->pid(), SIGHUP);
    for (int i = 0; i < 500 && count(server_->log(), "configuration read again") == reloads; ++i) {
      std::this_thread::sleep_for(Ms(10));
    }
    EXPECT_EQ(outcome(client().engine(speak("", kText))), kSucceeded);
    EXPECT_TRUE(health("\"workers\":1,\"busy\":0,\"queued\":0,\"replaced\":1"));
    const std::vector<pid_t> after = server_->workers();
    ASSERT_EQ(after.size(), 1u);
    EXPECT_NE(after[0], before[0]);
    EXPECT_NE(server_->log().find(k.reason), std::string::npos) << server_->log();
    EXPECT_EQ(server_->stop(SIGTERM), 0);
  }
}

TEST_F(Tavnd, AFullQueueAnswers503AtOnce) {
  start({"--workers", "1", "--queue", "1"});
  auto running = in_background(speak("", long_text(60)));
  ASSERT_TRUE(health("\"busy\":1"));
  auto queued = in_background(speak("", kText));
  ASSERT_TRUE(health("\"queued\":1"));
  const Reply refused = client().engine(speak("", kText));
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.field("retry-after"), "1");
  EXPECT_EQ(outcome(running->join()), kSucceeded);
  EXPECT_EQ(outcome(queued->join()), kSucceeded);
  EXPECT_NE(server_->log().find("503 every worker is busy and the queue is full"), std::string::npos);
}

// A raw connection that sends `bytes` and then waits: how long until the
// server closes it (at most `limit`).
Ms closed_after(const std::string& socket_path, const std::string& bytes, Ms limit) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", socket_path.c_str());
  const auto begun = std::chrono::steady_clock::now();
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) return Ms(-1);
  if (!bytes.empty() && write(fd, bytes.data(), bytes.size()) < 0) return Ms(-1);
  timeval tv{static_cast<time_t>(limit.count() / 1000), 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  char buf[4096];
  while (read(fd, buf, sizeof buf) > 0) {
  }
  close(fd);
  return std::chrono::duration_cast<Ms>(std::chrono::steady_clock::now() - begun);
}

TEST_F(Tavnd, SlowAndIdleClientsAreTimedOut) {
  start({"--workers", "1", "--read-timeout", "0.3", "--idle-timeout", "0.6"});
  const std::string path = server_->address().substr(5);
  struct Case {
    const char* what;
    std::string bytes;
    Ms at_least;
  };
  const Case cases[] = {
      {"idle", "", Ms(550)},
      {"half a header", "POST /v1/engine HTTP/1.1\r\nHost: x\r\n", Ms(250)},
      {"half a body", "POST /v1/engine HTTP/1.1\r\nHost: x\r\nTavn-Wire: 1\r\nContent-Length: 100\r\n\r\nTVNQ",
       Ms(250)},
  };
  for (const Case& k : cases) {
    const Ms took = closed_after(path, k.bytes, Ms(10'000));
    EXPECT_GE(took, k.at_least) << k.what;
    EXPECT_LT(took, Ms(5'000)) << k.what;
  }
  // A client that asks for a long text and reads nothing: the server's
  // writes stall, the connection is closed and the worker replaced.
  std::string body;
  wire::encode_request(speak("", long_text(150)), &body);
  const std::string head =
      "POST /v1/engine HTTP/1.1\r\nHost: x\r\nTavn-Wire: 1\r\nContent-Length: " + std::to_string(body.size()) +
      "\r\n\r\n";
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  const int small = 4096;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  ASSERT_EQ(write(fd, (head + body).data(), head.size() + body.size()),
            static_cast<ssize_t>(head.size() + body.size()));
  EXPECT_TRUE(health("\"replaced\":1"));
  close(fd);
  EXPECT_EQ(outcome(client().engine(speak("", kText))), kSucceeded);
  EXPECT_NE(server_->log().find("the client took too long"), std::string::npos) << server_->log();
}

TEST_F(Tavnd, SigtermLetsRunningRequestsFinish) {
  start({"--workers", "2"});
  auto a = in_background(speak("", long_text(40)));
  auto b = in_background(speak("voice=de", long_text(40)));
  ASSERT_TRUE(health("\"busy\":2"));
  std::thread stopper([this] { EXPECT_EQ(server_->stop(SIGTERM), 0); });
  EXPECT_EQ(outcome(a->join()), kSucceeded);
  EXPECT_EQ(outcome(b->join()), kSucceeded);
  stopper.join();
  EXPECT_FALSE(exists(dir_.file("tavnd.sock")));
  EXPECT_EQ(client(Ms(2000)).send("GET", "/healthz").status, 0);
}

TEST_F(Tavnd, SighupReadsTheConfigurationAgain) {
  const std::string config = dir_.file("tavnd.conf");
  write_file(config, "# first\nworkers = 1\ntoken-file = " + dir_.write("a", "token-a") + "\n");
  token_ = "token-a";
  start({"--config", config});
  EXPECT_EQ(outcome(client().engine(speak("", kText), "token-a")), kSucceeded);
  write_file(config, "workers = 1\ntoken-file = " + dir_.write("b", "token-b") + "\nqueue = 3\n");
  kill(server_->pid(), SIGHUP);
  token_ = "token-b";
  ASSERT_TRUE(health("\"status\":\"ok\"", Ms(10'000)));
  EXPECT_EQ(client().engine(speak("", kText), "token-a").status, 401);
  EXPECT_EQ(outcome(client().engine(speak("", kText), "token-b")), kSucceeded);
  // A configuration with an error changes nothing.
  write_file(config, "workers = none\n");
  kill(server_->pid(), SIGHUP);
  EXPECT_TRUE(wait_for_health(server_->address(), "ok", Ms(1000), "token-b"));
  EXPECT_EQ(outcome(client().engine(speak("", kText), "token-b")), kSucceeded);
  const std::string log = server_->log();
  EXPECT_NE(log.find("SIGHUP: configuration read again"), std::string::npos) << log;
  EXPECT_NE(log.find("SIGHUP: configuration not changed"), std::string::npos) << log;
}

// The frames' types, codes, sentence offsets and header bytes, one line each.
std::string shape_of(const Reply& reply) {
  std::string s = std::to_string(reply.status) + "\n";
  for (const wire::Frame& f : frames_of(reply)) {
    s += std::to_string(static_cast<int>(f.type)) + " " + std::to_string(f.code) + " " +
         std::to_string(f.sentence_begin) + "-" + std::to_string(f.sentence_end) + " " +
         std::to_string(f.non_audio_bytes) + (f.bytes.empty() ? "\n" : " audio\n");
  }
  return s;
}

// 8 threads of requests over TCP through one server: every answer whole,
// with the pieces of a lone request.
TEST_F(Tavnd, ManyThreadsThroughOneServer) {
  start({"--workers", "2", "--listen", "127.0.0.1:0"});
  std::smatch m;
  const std::string log = server_->log();
  ASSERT_TRUE(std::regex_search(log, m, std::regex("listening on unix:\\S+, (127\\.0\\.0\\.1:[0-9]+)"))) << log;
  const std::string tcp = m[1];
  const wire::Request r = speak("", "One. Two. Three.");
  const std::string want = shape_of(TavndClient(tcp).engine(r));
  ASSERT_EQ(count(want, " audio"), 4u) << want;  // the header, then a piece per sentence
  std::vector<std::thread> threads;
  std::atomic<int> same{0};
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      TavndClient c(tcp);
      for (int i = 0; i < 4; ++i) same += shape_of(c.engine(r)) == want ? 1 : 0;
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(same.load(), 32);
}

}  // namespace
