// A stand-in speech server for the engine's client tests: listens on a
// loopback port or a Unix socket chosen at run time and answers each HTTP
// request with whatever the test's reply writes, faults included.
//
// Each connection is served on a thread of its own; the destructor stops
// the server (every wait polls a stop flag every 20 ms), closes every
// connection and joins the threads.  A connection whose client goes away
// ends by itself.
#ifndef TAVN_TESTS_REMOTE_FAKE_SERVER_H_
#define TAVN_TESTS_REMOTE_FAKE_SERVER_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engines/speech/remote/wire_format.h"

namespace tavn::speech::testing {

struct HttpRequest {
  std::string head;  // request line and header fields
  std::string body;
  bool decoded = false;  // body is a wire request, in `request`
  wire::Request request;
};

class FakeServer {
 public:
  // Writes the answer to `request` on `fd`; returns false to close the
  // connection afterwards.  Called on the connection's thread.
  using Reply = std::function<bool(int fd, const HttpRequest& request)>;

  explicit FakeServer(Reply reply, bool unix_socket = false);
  ~FakeServer();
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;

  // The connection string that reaches it: "127.0.0.1:PORT" or "unix:PATH".
  const std::string& address() const { return address_; }
  int connections() const { return connections_; }
  int requests() const { return requests_; }

 private:
  void accept_loop();
  void serve(int fd);

  Reply reply_;
  std::string address_, socket_path_;
  int listener_ = -1;
  std::atomic<bool> stop_{false};
  std::atomic<int> connections_{0}, requests_{0};
  std::mutex mu_;
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

// Writes all of `bytes` to `fd` (false when the peer has gone).
bool send_all(int fd, const std::string& bytes);

// A 200 response's status line and header, its body chunked.
std::string ok_head();
// `bytes` as one chunk of a chunked body; "" gives the last chunk.
std::string chunk(const std::string& bytes);
// A whole response of `status` with an empty body; `extra` adds header lines.
std::string status_response(int status, const std::string& extra = "");

// The stream header and frames, encoded.
std::string stream_header();
std::string piece(uint32_t status, uint32_t begin, uint32_t end, const std::string& audio, uint32_t non_audio = 0);
std::string end_frame();
std::string error_frame(uint32_t code, const std::string& reason = "failed");

// A well-behaved server: kCheck gets kEnd; kSpeak gets a 4-byte header
// piece, then one piece per `sentences` (each of `audio_bytes` bytes,
// offsets spread over the text), the last with status 0, then kEnd.
bool speak_reply(int fd, const HttpRequest& request, int sentences = 3, size_t audio_bytes = 100);
// That server's reply, keeping every connection.
FakeServer::Reply speaking(int sentences = 3, size_t audio_bytes = 100);

}  // namespace tavn::speech::testing

#endif  // TAVN_TESTS_REMOTE_FAKE_SERVER_H_
