// The routes for programs and people, through tavnd run as a program on a
// private Unix socket with a cache folder of the test's own.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/server/tavnd_client.h"
#include "tests/support/test_support.h"

namespace {

using nlohmann::json;
using tavn::test::Reply;
using tavn::test::TavndClient;
using tavn::test::TavndProcess;

const std::string kJson = "Content-Type: application/json";
const std::string kTwoSentences = R"({"text":"First one here. Then the second one.")";

uint32_t le32_at(const std::string& s, size_t at) {
  return le32(std::vector<uint8_t>(s.begin() + at, s.begin() + at + 4), 0);
}

// One tavnd with its cache in a private folder.
class SpeechRoutes : public ::testing::Test {
 protected:
  void start(const std::vector<std::string>& extra = {}) {
    std::vector<std::string> args = {"--workers", "2", "--cache-dir", dir_.file("cache")};
    args.insert(args.end(), extra.begin(), extra.end());
    server_ = std::make_unique<TavndProcess>(dir_.path(), args);
    ASSERT_TRUE(server_->started()) << server_->log();
    client_ = std::make_unique<TavndClient>(server_->address());
  }
  Reply post(const std::string& target, const std::string& body, std::vector<std::string> fields = {}) {
    fields.push_back(kJson);
    return client_->send("POST", target, fields, body);
  }
  std::string metric(const std::string& name) {
    const std::string text = client_->send("GET", "/metrics").body;
    const size_t at = text.find("\n" + name + " ");
    return at == std::string::npos ? ""
                                   : text.substr(at + name.size() + 2, text.find('\n', at + 1) - at - name.size() - 2);
  }

  Temp_Dir dir_;
  std::unique_ptr<TavndProcess> server_;
  std::unique_ptr<TavndClient> client_;
};

TEST_F(SpeechRoutes, AnswerEachRouteWithItsStatusAndType) {
  start();
  const struct {
    const char *method, *target;
    std::vector<std::string> fields;
    std::string body;
    int status;
    const char* type;  // the start of the Content-Type
  } cases[] = {
      {"GET", "/", {}, "", 200, "text/html"},
      {"GET", "/app.js", {}, "", 200, "text/javascript"},
      {"GET", "/style.css", {}, "", 200, "text/css"},
      {"GET", "/v1/voices", {}, "", 200, "application/json"},
      {"GET", "/readyz", {}, "", 200, "application/json"},
      {"GET", "/metrics", {}, "", 200, "text/plain; version=0.0.4"},
      {"GET", "/v1/audio?key=0123456789abcdef0123456789abcdef", {}, "", 404, "application/json"},
      {"GET", "/v1/audio?key=../../etc/passwd", {}, "", 404, "application/json"},
      {"POST", "/v1/speak", {kJson}, R"({"text":"Hi."})", 200, "audio/wav"},
      {"POST", "/v1/speak", {kJson}, R"({"text":"Hi.","format":30})", 200, "audio/mpeg"},
      {"POST", "/v1/speak", {kJson}, R"({"text":"Hi.","format":"ulaw8k1c","header":false})", 200, "audio/basic"},
      {"POST", "/v1/audio/speech", {kJson}, R"({"input":"Hi.","voice":"en"})", 200, "audio/mpeg"},
      {"POST",
       "/v1/audio/speech",
       {kJson},
       R"({"input":"Hi.","voice":"en","response_format":"pcm"})",
       200,
       "audio/pcm"},
      {"POST", "/v1/speak", {kJson}, R"({"text":"Hi.","voice":"nobody"})", 400, "application/json"},
      {"POST", "/v1/speak", {kJson}, "{", 400, "application/json"},
      {"POST", "/v1/speak", {kJson}, R"({"text":"<speak>Hi <emphasis>there</speak>"})", 400, "application/json"},
      {"POST", "/v1/speak", {"Content-Type: text/plain"}, R"({"text":"Hi."})", 415, "application/json"},
      {"POST", "/v1/speak", {kJson}, R"({"text":")" + std::string(65537, 'a') + "\"}", 413, "application/json"},
      {"POST", "/v1/speak", {kJson, "Range: bytes=0-"}, R"({"text":"Hi."})", 416, "application/json"},
      {"GET", "/v1/speak", {}, "", 405, "text/plain"},
  };
  for (const auto& c : cases) {
    const Reply r = client_->send(c.method, c.target, c.fields, c.body);
    EXPECT_EQ(r.status, c.status) << c.method << " " << c.target << " " << c.body.substr(0, 80) << r.body;
    EXPECT_EQ(r.field("content-type").rfind(c.type, 0), 0u) << c.target << ": " << r.field("content-type");
    if (c.status >= 400 && std::string(c.type) == "application/json") {
      EXPECT_TRUE(json::parse(r.body)["error"]["message"].is_string()) << r.body;
    }
    if (c.body.find("<speak>") != std::string::npos) {  // where and why the markup fails
      EXPECT_NE(r.body.find("line 1, column 28: mismatched tag"), std::string::npos) << r.body;
    }
  }
  // Every answer above is counted by route and status.
  const std::string metrics = client_->send("GET", "/metrics").body;
  EXPECT_NE(metrics.find("tavnd_http_requests_total{route=\"/v1/speak\",status=\"415\"} 1\n"), std::string::npos);
  if (exists("/usr/bin/promtool")) {
    int status = -1;
    const std::string said =
        run_command("/usr/bin/promtool check metrics < " + dir_.write("metrics.txt", metrics) + " 2>&1", &status);
    EXPECT_EQ(status, 0) << said;
  }
}

TEST_F(SpeechRoutes, StreamThenServeFromTheCacheAndAfterARestart) {
  start();
  const Reply first = post("/v1/speak", kTwoSentences + "}");
  ASSERT_EQ(first.status, 200) << first.body;
  EXPECT_EQ(first.field("tavn-cache"), "miss");
  EXPECT_EQ(first.field("transfer-encoding"), "chunked");
  EXPECT_EQ(le32_at(first.body, 40), 0xFFFFFFFFu);  // streamed: open-ended sizes
  const Reply again = post("/v1/speak", kTwoSentences + R"(,"model":"ignored","extra":[1]})");
  EXPECT_EQ(again.field("tavn-cache"), "hit");
  EXPECT_EQ(again.field("etag"), first.field("etag"));
  ASSERT_EQ(again.body.size(), first.body.size());
  EXPECT_EQ(le32_at(again.body, 40), again.body.size() - 44);  // stored: the real sizes
  EXPECT_EQ(again.body.substr(44), first.body.substr(44));
  EXPECT_EQ(post("/v1/speak", kTwoSentences + "}", {"If-None-Match: \"x\", " + first.field("etag")}).status, 304);

  // With marks: the sentences' times and the stored audio's address.
  const Reply marked = post("/v1/speak", kTwoSentences + R"(,"marks":"json"})");
  ASSERT_EQ(marked.status, 200) << marked.body;
  const json answer = json::parse(marked.body);
  ASSERT_EQ(answer["marks"].size(), 2u);
  EXPECT_EQ(answer["marks"][1]["value"], "Then the second one.");
  EXPECT_GT(answer["marks"][1]["time"].get<int>(), 500);
  EXPECT_EQ(client_->send("GET", answer["audio_url"]).body, again.body);

  ASSERT_EQ(server_->stop(SIGTERM), 0);
  start();
  const Reply after = post("/v1/speak", kTwoSentences + "}");
  EXPECT_EQ(after.field("tavn-cache"), "hit");
  EXPECT_EQ(after.body, again.body);
}

TEST_F(SpeechRoutes, WithoutTheCacheMarksCarryTheAudio) {
  start({"--no-cache"});
  const Reply r = post("/v1/speak", kTwoSentences + R"(,"marks":"json"})");
  ASSERT_EQ(r.status, 200) << r.body;
  EXPECT_EQ(r.field("tavn-cache"), "off");
  EXPECT_EQ(json::parse(r.body)["audio_url"].get<std::string>().rfind("data:audio/wav;base64,UklGR", 0), 0u);
}

// A client that goes away mid-stream frees its worker at once, and nothing
// of the cut answer is stored.
TEST_F(SpeechRoutes, AClientLeavingMidStreamFreesItsWorker) {
  start({"--workers", "1"});
  std::string text;
  for (int i = 0; i < 300; ++i) text += "This is sentence number " + std::to_string(i) + " of a long text. ";
  const std::string body = R"({"text":")" + text + "\"}";
  const std::string request =
      "POST /v1/speak HTTP/1.1\r\nHost: t\r\nContent-Type: application/json\r\n"
      "Content-Length: " +
      std::to_string(body.size()) + "\r\n\r\n" + body;
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  const std::string path = server_->address().substr(5);  // after "unix:"
  path.copy(addr.sun_path, sizeof addr.sun_path - 1);
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ASSERT_EQ(write(fd, request.data(), request.size()), static_cast<ssize_t>(request.size()));
  std::string got;
  char buffer[4096];
  for (ssize_t n; got.find("RIFF") == std::string::npos && (n = read(fd, buffer, sizeof buffer)) > 0;)
    got.append(buffer, static_cast<size_t>(n));  // the answer has begun
  ASSERT_NE(got.find("200 OK"), std::string::npos) << got;
  close(fd);
  // The worker is free again long before the text's 15 s of speaking would end.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  bool idle = false;
  while (!idle && std::chrono::steady_clock::now() < deadline) {
    idle = client_->send("GET", "/healthz").body.find("\"busy\":0") != std::string::npos &&
           client_->send("GET", "/readyz").status == 200;
    if (!idle) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_TRUE(idle) << client_->send("GET", "/healthz").body;
  EXPECT_EQ(metric("tavnd_cache_entries"), "0");
  EXPECT_EQ(post("/v1/speak", R"({"text":"Still here."})").status, 200);
}

// Identical requests at once are rendered once; the others read its entry.
TEST_F(SpeechRoutes, ConcurrencyIdenticalRequestsRenderOnce) {
  start();
  const std::string body = R"({"text":")" + std::string(40, 'x') + R"( and then some more words to speak."})";
  std::atomic<int> ok{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      TavndClient client(server_->address());
      if (client.send("POST", "/v1/speak", {kJson}, body).status == 200) ok++;
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(ok, 4);
  EXPECT_EQ(metric("tavnd_cache_misses_total"), "1");
  EXPECT_EQ(metric("tavnd_cache_hits_total"), "3");
}

}  // namespace
