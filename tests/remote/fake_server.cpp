#include "tests/remote/fake_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace tavn::speech::testing {
namespace {

// Waits until `fd` is readable or the stop flag is set; false on stop.
bool wait_readable(int fd, const std::atomic<bool>& stop) {
  while (!stop) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 20) > 0) return true;
  }
  return false;
}

// Reads one request: header, then Content-Length bytes of body.  False when
// the client closed the connection or the server stops.
bool read_request(int fd, const std::atomic<bool>& stop, std::string* pending, HttpRequest* out) {
  size_t head_end;
  while ((head_end = pending->find("\r\n\r\n")) == std::string::npos) {
    char buf[4096];
    if (!wait_readable(fd, stop)) return false;
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) return false;
    pending->append(buf, static_cast<size_t>(n));
  }
  out->head = pending->substr(0, head_end + 2);
  size_t length = 0;
  const size_t at = out->head.find("Content-Length: ");
  if (at != std::string::npos) length = std::strtoul(out->head.c_str() + at + 16, nullptr, 10);
  while (pending->size() < head_end + 4 + length) {
    char buf[4096];
    if (!wait_readable(fd, stop)) return false;
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) return false;
    pending->append(buf, static_cast<size_t>(n));
  }
  out->body = pending->substr(head_end + 4, length);
  pending->erase(0, head_end + 4 + length);
  std::string why;
  out->decoded = wire::decode_request(out->body, &out->request, &why);
  return true;
}

}  // namespace

FakeServer::FakeServer(Reply reply, bool unix_socket) : reply_(std::move(reply)) {
  if (unix_socket) {
    char dir[] = "/tmp/tavn_fake_XXXXXX";
    if (mkdtemp(dir) == nullptr) throw std::runtime_error("mkdtemp");
    socket_path_ = std::string(dir) + "/s";
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::snprintf(a.sun_path, sizeof a.sun_path, "%s", socket_path_.c_str());
    if (bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) throw std::runtime_error("bind");
    address_ = "unix:" + socket_path_;
  } else {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof a;
    if (bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &size) != 0)
      throw std::runtime_error("bind");
    address_ = "127.0.0.1:" + std::to_string(ntohs(a.sin_port));
  }
  if (listen(listener_, 64) != 0) throw std::runtime_error("listen");
  acceptor_ = std::thread([this] { accept_loop(); });
}

FakeServer::~FakeServer() {
  stop_ = true;
  acceptor_.join();
  for (std::thread& t : threads_) t.join();
  close(listener_);
  if (!socket_path_.empty()) {
    unlink(socket_path_.c_str());
    rmdir(socket_path_.substr(0, socket_path_.rfind('/')).c_str());
  }
}

void FakeServer::accept_loop() {
  while (wait_readable(listener_, stop_)) {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) continue;
    ++connections_;
    std::lock_guard<std::mutex> lock(mu_);
    threads_.emplace_back([this, fd] { serve(fd); });
  }
}

void FakeServer::serve(int fd) {
  std::string pending;
  HttpRequest request;
  while (read_request(fd, stop_, &pending, &request)) {
    ++requests_;
    if (!reply_(fd, request)) break;
  }
  close(fd);
}

bool send_all(int fd, const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string ok_head() {
  return "HTTP/1.1 200 OK\r\nContent-Type: " + std::string(wire::kContentType) +
         "\r\nTavn-Wire: 1\r\nTransfer-Encoding: chunked\r\n\r\n";
}

std::string chunk(const std::string& bytes) {
  char size[16];
  std::snprintf(size, sizeof size, "%zx\r\n", bytes.size());
  return size + bytes + "\r\n";
}

std::string status_response(int status, const std::string& extra) {
  return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: 0\r\n" + extra + "\r\n";
}

std::string stream_header() {
  std::string s;
  wire::encode_stream_header(&s);
  return s;
}

std::string piece(uint32_t status, uint32_t begin, uint32_t end, const std::string& audio, uint32_t non_audio) {
  std::string s;
  wire::encode_frame(
      {wire::FrameType::kPiece, status, begin, end, non_audio, std::vector<uint8_t>(audio.begin(), audio.end())}, &s);
  return s;
}

std::string end_frame() {
  std::string s;
  wire::encode_frame({wire::FrameType::kEnd, 0, 0, 0, 0, {}}, &s);
  return s;
}

std::string error_frame(uint32_t code, const std::string& reason) {
  std::string s;
  wire::encode_frame({wire::FrameType::kError, code, 0, 0, 0, std::vector<uint8_t>(reason.begin(), reason.end())}, &s);
  return s;
}

bool speak_reply(int fd, const HttpRequest& request, int sentences, size_t audio_bytes) {
  if (!request.decoded) {
    send_all(fd, status_response(400));
    return false;
  }
  if (request.request.kind == wire::RequestKind::kCheck)
    return send_all(fd, ok_head() + chunk(stream_header() + end_frame()) + chunk(""));
  const uint32_t length = static_cast<uint32_t>(request.request.text.size());
  std::string out = ok_head() + chunk(stream_header() + piece(sentences > 0, 0, 0, "RIFF", 4));
  for (int i = 0; i < sentences; ++i) {
    const uint32_t begin = length * i / sentences, end = length * (i + 1) / sentences;
    out += chunk(piece(i + 1 < sentences, begin, end, "RIFF" + std::string(audio_bytes, 'a' + i), 4));
  }
  out += chunk(end_frame()) + chunk("");
  return send_all(fd, out);
}

FakeServer::Reply speaking(int sentences, size_t audio_bytes) {
  return [sentences, audio_bytes](int fd, const HttpRequest& request) {
    return speak_reply(fd, request, sentences, audio_bytes);
  };
}

}  // namespace tavn::speech::testing
