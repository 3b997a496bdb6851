// The engine as a client of a speech server: TTS* operations with
// conn_str1/conn_str2 set, against a stand-in server that answers each
// case as it needs, faults included.
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "synth/kavritts.h"
#include "tests/remote/fake_server.h"
#include "tests/support/test_support.h"

namespace tavn::speech::testing {
namespace {

using Clock = std::chrono::steady_clock;

const char kText[] = "One sentence. Another one. And a third.";
constexpr uint32_t kTextLength = sizeof kText - 1;

uint32_t open_handle(const std::string& conn1, const std::string& conn2, const std::string& params, uint32_t* error) {
  TTSConnectRecord r{};
  r.record_tag = 0x101;
  std::snprintf(r.params, sizeof r.params, "%s", params.c_str());
  std::snprintf(r.conn_str1, sizeof r.conn_str1, "%s", conn1.c_str());
  std::snprintf(r.conn_str2, sizeof r.conn_str2, "%s", conn2.c_str());
  const uint32_t h = TTSConnect(&r);
  *error = r.error_code;
  return h;
}

struct Piece {
  uint32_t status, begin, end;
  uint16_t non_audio;
  std::string bytes;
};

// Every piece of one request; the first failure, or 0.
uint32_t speak(uint32_t handle, std::vector<Piece>* pieces, const char* text = kText) {
  TTSSynthRecord rec{};
  rec.text = text;
  rec.text_length = static_cast<uint32_t>(std::strlen(text));
  for (uint32_t r = TTSSynthText(handle, &rec);; r = TTSFetchNext(handle, &rec)) {
    if (r != 0) return r;
    pieces->push_back({rec.status, rec.sentence_begin, rec.sentence_end, rec.non_audio_bytes,
                       std::string(reinterpret_cast<const char*>(rec.audio), rec.audio_length)});
    if (rec.status != 1) return 0;
  }
}

std::string name(uint32_t code) {
  const EngineCode* c = find_engine_code(code);
  return code == 0 ? "0" : c != nullptr ? c->name : std::to_string(code);
}

// A server that checks parameters well and answers kSpeak with `answer`,
// keeping the connection when `keep`.
FakeServer::Reply answering(std::string answer, bool keep = true) {
  return [answer, keep](int fd, const HttpRequest& request) {
    if (request.request.kind == wire::RequestKind::kCheck) return speak_reply(fd, request);
    send_all(fd, answer);
    return keep;
  };
}

// Closes its listening socket: a port where nothing listens.
std::string closed_port() {
  FakeServer gone([](int, const HttpRequest&) { return false; });
  return gone.address();
}

size_t open_descriptors() {
  size_t n = 0;
  if (DIR* d = opendir("/proc/self/fd")) {
    while (readdir(d) != nullptr) ++n;
    closedir(d);
  }
  return n;
}

// The stand-in server runs in this process and closes its side of a
// connection a moment after the client is done: allow it a few seconds on a loaded machine.
bool descriptors_settle_at(size_t n) {
  // At most `n`: the count taken before may have held the server's side of
  // a connection it was about to close.
  for (int i = 0; i < 500 && open_descriptors() > n; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (open_descriptors() <= n) return true;
  std::string open;  // what is open, for the failure's message
  if (DIR* d = opendir("/proc/self/fd")) {
    while (const dirent* e = readdir(d)) {
      char target[256] = {};
      const std::string link = std::string("/proc/self/fd/") + e->d_name;
      if (readlink(link.c_str(), target, sizeof target - 1) > 0) open += std::string(e->d_name) + "->" + target + " ";
    }
    closedir(d);
  }
  ADD_FAILURE() << "at most " << n << " descriptors expected, open: " << open;
  return false;
}

class RemoteEngine : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(TTSInitialize(), 0u); }
};

TEST_F(RemoteEngine, HandsOutTheServersPiecesAsTheyAre) {
  for (bool unix_socket : {false, true}) {
    FakeServer server(speaking(3, 5000), unix_socket);
    uint32_t error = 0;
    const uint32_t h = open_handle(server.address(), "", "voice=en,5=3", &error);
    ASSERT_NE(h, 0u) << name(error);
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, &pieces), 0u);
    ASSERT_EQ(pieces.size(), 4u);
    EXPECT_EQ(pieces[0].bytes, "RIFF");
    EXPECT_EQ(pieces[0].status, 1u);
    for (uint32_t i = 1; i < 4; ++i) {
      EXPECT_EQ(pieces[i].status, i < 3 ? 1u : 0u);
      EXPECT_EQ(pieces[i].begin, kTextLength * (i - 1) / 3);
      EXPECT_EQ(pieces[i].end, kTextLength * i / 3);
      EXPECT_EQ(pieces[i].non_audio, 4u);
      EXPECT_EQ(pieces[i].bytes, "RIFF" + std::string(5000, static_cast<char>('a' + i - 1)));
    }
    uint32_t format = 0, size = 4;
    EXPECT_EQ(TTSGetParam(h, 5, &format, &size), 0u);
    EXPECT_EQ(format, 3u);
    EXPECT_EQ(TTSDisconnect(h), 0u);
    EXPECT_EQ(server.requests(), 2);  // the check and the request
  }
}

// The request the server gets: the parameters as given, the format set
// since, and the text.
TEST_F(RemoteEngine, SendsParamsFormatAndText) {
  std::vector<HttpRequest> seen;
  std::mutex mu;
  FakeServer server([&](int fd, const HttpRequest& r) {
    std::lock_guard<std::mutex> lock(mu);
    seen.push_back(r);
    return speak_reply(fd, r);
  });
  uint32_t error = 0;
  const uint32_t h = open_handle(server.address(), "", "voice=de rate=200", &error);
  ASSERT_NE(h, 0u) << name(error);
  ASSERT_EQ(TTSSetSynthParam(h, 5, 12), 0u);
  EXPECT_EQ(TTSSetSynthParam(h, 5, 31), ENGINE_ERR_FORMAT_REFUSED);
  std::vector<Piece> pieces;
  ASSERT_EQ(speak(h, &pieces), 0u);
  TTSDisconnect(h);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_TRUE(seen[0].decoded && seen[1].decoded);
  EXPECT_EQ(seen[0].request.kind, wire::RequestKind::kCheck);
  EXPECT_EQ(seen[0].request.format, 4u);
  EXPECT_EQ(seen[1].request.kind, wire::RequestKind::kSpeak);
  EXPECT_EQ(seen[1].request.format, 12u);
  EXPECT_EQ(seen[1].request.params, "voice=de rate=200");
  EXPECT_EQ(seen[1].request.text, kText);
  EXPECT_NE(seen[1].head.find("POST /v1/engine HTTP/1.1\r\n"), std::string::npos);
  EXPECT_NE(seen[1].head.find("Tavn-Wire: 1\r\n"), std::string::npos);
  EXPECT_EQ(seen[1].head.find("Authorization"), std::string::npos);
}

// Each fault of a server answering a request: the pieces handed out
// before it and the result, always within a bounded time.
TEST_F(RemoteEngine, ServerFaultsGiveClearResults) {
  const std::string head = ok_head() + chunk(stream_header() + piece(1, 0, 0, "RIFF", 4));
  const std::string last = piece(0, 0, kTextLength, "RIFFdata", 4);
  const struct {
    const char* what;
    FakeServer::Reply reply;
    size_t pieces;
    uint32_t result;
  } cases[] = {
      {"busy", answering(status_response(503, "Retry-After: 1\r\n")), 0, ENGINE_ERR_SERVER_BUSY},
      {"no token", answering(status_response(401)), 0, ENGINE_ERR_SERVER_REFUSED},
      {"too large", answering(status_response(413)), 0, ENGINE_ERR_SERVER_REFUSED},
      {"another version (400)", answering(status_response(400, "Tavn-Wire: 2\r\n")), 0, ENGINE_ERR_SERVER_REFUSED},
      {"another version (200 header)",
       answering("HTTP/1.1 200 OK\r\nTavn-Wire: 2\r\nContent-Length: 8\r\n\r\nTVNP\x02\x00\x00\x00"
                 "x"),
       0, ENGINE_ERR_SERVER_REFUSED},
      {"another version (stream)", answering(ok_head() + chunk(std::string("TVNP\x02\x00\x00\x00", 8))), 0,
       ENGINE_ERR_SERVER_REFUSED},
      {"internal error", answering(status_response(500)), 0, ENGINE_ERR_SERVER_FAILED},
      {"not HTTP", answering("\x16\x03\x01garbage\r\n\r\n", false), 0, ENGINE_ERR_SERVER_FAILED},
      {"a web page", answering("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 6\r\n\r\n<html>"), 0,
       ENGINE_ERR_SERVER_FAILED},
      {"closes at once", answering("", false), 0, ENGINE_ERR_SERVER_FAILED},
      {"dies after the first piece", answering(head, false), 1, ENGINE_ERR_SERVER_FAILED},
      {"dies inside a frame", answering(ok_head() + chunk(stream_header() + last.substr(0, 30)), false), 0,
       ENGINE_ERR_SERVER_FAILED},
      {"body shorter than its length",
       answering("HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n" + stream_header(), false), 0,
       ENGINE_ERR_SERVER_FAILED},
      {"engine result",
       answering(ok_head() + chunk(stream_header() + error_frame(ENGINE_ERR_UNKNOWN_VOICE)) + chunk("")), 0,
       ENGINE_ERR_UNKNOWN_VOICE},
      {"engine result after a piece", answering(head + chunk(error_frame(ENGINE_ERR_SYNTH_FAILED)) + chunk("")), 1,
       ENGINE_ERR_SYNTH_FAILED},
      {"worker died", answering(head + chunk(error_frame(ENGINE_ERR_SERVER_FAILED)) + chunk("")), 1,
       ENGINE_ERR_SERVER_FAILED},
      {"unknown code", answering(head + chunk(error_frame(0x12345678)) + chunk("")), 1, ENGINE_ERR_SERVER_FAILED},
      {"code 0", answering(head + chunk(error_frame(0)) + chunk("")), 1, ENGINE_ERR_SERVER_FAILED},
      {"no end frame", answering(head + chunk(last) + chunk("")), 1, ENGINE_ERR_SERVER_FAILED},
      {"end before the last piece", answering(head + chunk(end_frame()) + chunk("")), 1, ENGINE_ERR_SERVER_FAILED},
      {"offsets beyond the text",
       answering(head + chunk(piece(0, 0, kTextLength + 1, "RIFF", 4) + end_frame()) + chunk("")), 1,
       ENGINE_ERR_SERVER_FAILED},
      {"header longer than the piece", answering(head + chunk(piece(0, 0, 1, "RIFF", 5) + end_frame()) + chunk("")), 1,
       ENGINE_ERR_SERVER_FAILED},
      {"silent", answering(""), 0, ENGINE_ERR_SERVER_FAILED},
      {"silent after the first piece", answering(head), 1, ENGINE_ERR_SERVER_FAILED},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    FakeServer server(c.reply);
    uint32_t error = 0;
    const uint32_t h = open_handle(server.address(), "", "timeout=1500", &error);
    ASSERT_NE(h, 0u) << name(error);
    const auto start = Clock::now();
    std::vector<Piece> pieces;
    EXPECT_EQ(name(speak(h, &pieces)), name(c.result));
    EXPECT_EQ(pieces.size(), c.pieces);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    // The handle stays usable: a failed request leaves no request running.
    TTSSynthRecord rec{};
    EXPECT_EQ(TTSFetchNext(h, &rec), ENGINE_ERR_NO_REQUEST);
    EXPECT_EQ(TTSDisconnect(h), 0u);
  }
}

TEST_F(RemoteEngine, ConnectChecksAddressesAndServer) {
  FakeServer good(speaking());
  FakeServer check_refused([](int fd, const HttpRequest&) {
    send_all(fd, status_response(401));
    return false;
  });
  const std::string nothing = closed_port();
  // Answers its check with an unknown voice.
  FakeServer unknown_voice([](int fd, const HttpRequest&) {
    send_all(fd, ok_head() + chunk(stream_header() + error_frame(ENGINE_ERR_UNKNOWN_VOICE)) + chunk(""));
    return true;
  });
  const struct {
    std::string conn1, conn2, params;
    uint32_t result;
  } cases[] = {
      {good.address(), "", "", 0},
      {nothing, "", "", ENGINE_ERR_SERVER_UNREACHABLE},
      {"unix:/nonexistent/tavnd.sock", "", "", ENGINE_ERR_SERVER_UNREACHABLE},
      {"tts.example:7010", "", "", ENGINE_ERR_BAD_VALUE},
      {good.address(), "127.0.0.1", "", ENGINE_ERR_BAD_VALUE},
      {good.address(), "", "timeout=0", ENGINE_ERR_BAD_VALUE},
      {unknown_voice.address(), "", "voice=xx", ENGINE_ERR_UNKNOWN_VOICE},
      {check_refused.address(), "", "", ENGINE_ERR_SERVER_REFUSED},
      {good.address(), "", "rate=1", ENGINE_ERR_BAD_VALUE},  // judged here before any server
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.conn1 + " " + c.conn2 + " " + c.params);
    uint32_t error = 0;
    const uint32_t h = open_handle(c.conn1, c.conn2, c.params, &error);
    EXPECT_EQ(name(h != 0 ? 0 : error), name(c.result));
    if (h != 0) TTSDisconnect(h);
  }
}

// A listener whose backlog is full takes no more connections: the connect
// timeout ends the wait.
TEST_F(RemoteEngine, ConnectTimesOut) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof a;
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&a), &size), 0);
  ASSERT_EQ(listen(listener, 0), 0);
  std::vector<int> fillers;
  for (int i = 0; i < 4; ++i) {  // connections that fill the backlog, not waited for
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    ::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    fillers.push_back(fd);
  }
  const std::string address = "127.0.0.1:" + std::to_string(ntohs(a.sin_port));
  const auto start = Clock::now();
  uint32_t error = 0;
  EXPECT_EQ(open_handle(address, "", "connect_timeout=200", &error), 0u);
  EXPECT_EQ(name(error), name(ENGINE_ERR_SERVER_UNREACHABLE));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
  for (int fd : fillers) close(fd);
  close(listener);
}

TEST_F(RemoteEngine, SendsTheTokenFromItsFile) {
  Temp_Dir dir;
  const std::string right = dir.write("right", "s3cret-token\r\n");
  const std::string wrong = dir.write("wrong", "other\n");
  const std::string empty = dir.write("empty", "\n");
  FakeServer server([](int fd, const HttpRequest& r) {
    if (r.head.find("\r\nAuthorization: Bearer s3cret-token\r\n") == std::string::npos) {
      send_all(fd, status_response(401));
      return false;
    }
    return speak_reply(fd, r);
  });
  const struct {
    std::string param, env;
    uint32_t result;
  } cases[] = {
      {"token_file=" + right, "", 0},
      {"", right, 0},
      {"token_file=" + right, wrong, 0},  // the parameter comes first
      {"", "", ENGINE_ERR_SERVER_REFUSED},
      {"token_file=" + wrong, "", ENGINE_ERR_SERVER_REFUSED},
      {"token_file=" + empty, "", ENGINE_ERR_BAD_VALUE},
      {"token_file=" + dir.file("missing"), right, ENGINE_ERR_BAD_VALUE},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.param + " / " + c.env);
    setenv("TAVN_TOKEN_FILE", c.env.c_str(), 1);
    uint32_t error = 0;
    const uint32_t h = open_handle(server.address(), "", c.param, &error);
    EXPECT_EQ(name(h != 0 ? 0 : error), name(c.result));
    if (h == 0) continue;
    std::vector<Piece> pieces;
    EXPECT_EQ(speak(h, &pieces), 0u);
    TTSDisconnect(h);
  }
  unsetenv("TAVN_TOKEN_FILE");
}

// conn_str2 takes a request the first server cannot, up to the first
// piece; after it, or for a refusal, nobody else is asked.
TEST_F(RemoteEngine, FailsOverBeforeTheFirstPieceOnly) {
  const std::string head = ok_head() + chunk(stream_header() + piece(1, 0, 0, "RIFF", 4));
  const std::string refusal = ok_head() + chunk(stream_header() + error_frame(ENGINE_ERR_UNKNOWN_VOICE)) + chunk("");
  const struct {
    const char* what;
    FakeServer::Reply first, second;
    bool first_down;
    uint32_t result;
    int second_speaks;  // requests the second server got after the check
  } cases[] = {
      {"first unreachable", answering(""), speaking(), true, 0, 1},
      {"first busy", answering(status_response(503)), speaking(), false, 0, 1},
      {"first fails at once", answering("", false), speaking(), false, 0, 1},
      {"first worker died",
       answering(ok_head() + chunk(stream_header() + error_frame(ENGINE_ERR_SERVER_FAILED)) + chunk("")), speaking(),
       false, 0, 1},
      {"first dies after a piece", answering(head, false), speaking(), false, ENGINE_ERR_SERVER_FAILED, 0},
      {"first refuses", answering(status_response(401)), speaking(), false, ENGINE_ERR_SERVER_REFUSED, 0},
      {"first's engine refuses", answering(refusal), speaking(), false, ENGINE_ERR_UNKNOWN_VOICE, 0},
      {"both busy", answering(status_response(503)), answering(status_response(503)), false, ENGINE_ERR_SERVER_BUSY, 1},
      {"first unreachable, second busy", answering(""), answering(status_response(503)), true, ENGINE_ERR_SERVER_BUSY,
       1},
      {"first busy, second dies", answering(status_response(503)), answering("", false), false, ENGINE_ERR_SERVER_BUSY,
       1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto first = std::make_unique<FakeServer>(c.first);
    FakeServer second(c.second);
    const std::string first_address = first->address();
    if (c.first_down) first.reset();
    uint32_t error = 0;
    const uint32_t h = open_handle(first_address, second.address(), "timeout=1500", &error);
    ASSERT_NE(h, 0u) << name(error);
    const int second_checks = second.requests();
    std::vector<Piece> pieces;
    EXPECT_EQ(name(speak(h, &pieces)), name(c.result));
    TTSDisconnect(h);
    EXPECT_EQ(second.requests() - second_checks, c.second_speaks);
  }
}

// One handle, many requests: one connection kept open, no descriptor
// growth; and a server that closes each connection after its answer gets
// every request again on a new one.
TEST_F(RemoteEngine, ReusesItsConnection) {
  for (bool server_closes : {false, true}) {
    FakeServer server([server_closes](int fd, const HttpRequest& r) { return speak_reply(fd, r) && !server_closes; });
    uint32_t error = 0;
    const uint32_t h = open_handle(server.address(), "", "", &error);
    ASSERT_NE(h, 0u) << name(error);
    std::vector<Piece> pieces;
    ASSERT_EQ(speak(h, &pieces), 0u);
    const size_t descriptors = open_descriptors();
    constexpr int kRequests = 100;
    for (int i = 0; i < kRequests; ++i) {
      pieces.clear();
      ASSERT_EQ(speak(h, &pieces), 0u) << i;
      ASSERT_EQ(pieces.size(), 4u);
    }
    EXPECT_TRUE(descriptors_settle_at(descriptors));
    EXPECT_EQ(server.connections(), server_closes ? kRequests + 2 : 1);
    // A request abandoned halfway closes its connection; the next one works.
    TTSSynthRecord rec{};
    rec.text = kText;
    rec.text_length = kTextLength;
    ASSERT_EQ(TTSSynthText(h, &rec), 0u);
    pieces.clear();
    EXPECT_EQ(speak(h, &pieces), 0u);
    EXPECT_EQ(pieces.size(), 4u);
    TTSDisconnect(h);
  }
}

TEST_F(RemoteEngine, ManyThreadsAtOnce) {
  FakeServer server(speaking(5, 2000));
  constexpr int kThreads = 8, kRequests = 25;
  std::vector<std::thread> threads;
  std::vector<int> ok(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      uint32_t error = 0;
      const uint32_t h = open_handle(server.address(), "", "", &error);
      if (h == 0) return;
      for (int i = 0; i < kRequests; ++i) {
        std::vector<Piece> pieces;
        if (speak(h, &pieces) == 0 && pieces.size() == 6) ++ok[t];
      }
      TTSDisconnect(h);
    });
  }
  for (std::thread& t : threads) t.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(ok[t], kRequests) << t;
  EXPECT_EQ(server.connections(), kThreads);
}

}  // namespace
}  // namespace tavn::speech::testing
