#include "tests/server/tavnd_client.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

extern char** environ;

namespace tavn::test {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

bool read_frames(const std::string& body, std::vector<wire::Frame>* out, std::string* why) {
  wire::FrameReader reader;
  reader.feed(body.data(), body.size());
  for (;;) {
    wire::Frame f;
    const int r = reader.next(&f, why);
    if (r < 0) return false;
    if (r == 0) return true;
    out->push_back(std::move(f));
  }
}

struct TavndClient::Impl {
  std::string address;
  std::chrono::milliseconds timeout;
  asio::io_context io;
  std::unique_ptr<beast::basic_stream<asio::local::stream_protocol>> unix_stream;
  std::unique_ptr<beast::tcp_stream> tcp_stream;
  beast::flat_buffer buffer;

  void close() {
    unix_stream.reset();
    tcp_stream.reset();
    buffer.clear();
  }

  bool open(std::string* why) {
    if (unix_stream || tcp_stream) return true;
    error_code ec;
    if (address.rfind("unix:", 0) == 0) {
      unix_stream = std::make_unique<beast::basic_stream<asio::local::stream_protocol>>(io);
      unix_stream->expires_after(timeout);
      unix_stream->socket().connect(asio::local::stream_protocol::endpoint(address.substr(5)), ec);
    } else {
      const size_t colon = address.rfind(':');
      tcp_stream = std::make_unique<beast::tcp_stream>(io);
      tcp_stream->expires_after(timeout);
      const asio::ip::tcp::endpoint ep(asio::ip::make_address(address.substr(0, colon)),
                                       static_cast<uint16_t>(std::stoi(address.substr(colon + 1))));
      tcp_stream->socket().connect(ep, ec);
    }
    if (ec) {
      *why = "connect: " + ec.message();
      close();
      return false;
    }
    return true;
  }

  // Runs `op` on whichever stream is open, with the timeout, and the io
  // context until it completes.
  template <class Op>
  error_code run(Op op) {
    error_code result = asio::error::would_block;
    auto done = [&result](error_code ec, size_t) { result = ec; };
    if (unix_stream) {
      unix_stream->expires_after(timeout);
      op(*unix_stream, done);
    } else {
      tcp_stream->expires_after(timeout);
      op(*tcp_stream, done);
    }
    io.restart();
    io.run();
    return result;
  }
};

TavndClient::TavndClient(std::string address, std::chrono::milliseconds timeout) : impl_(std::make_unique<Impl>()) {
  impl_->address = std::move(address);
  impl_->timeout = timeout;
}

TavndClient::~TavndClient() = default;

Reply TavndClient::send(const std::string& method, const std::string& target, const std::vector<std::string>& fields,
                        const std::string& body) {
  Reply reply;
  // A kept connection the server has closed fails at once: try a fresh one.
  for (int attempt = 0; attempt < 2 && reply.status == 0; ++attempt) {
    if (!impl_->open(&reply.error)) return reply;
    http::request<http::string_body> req{http::string_to_verb(method), target, 11};
    req.set(http::field::host, "tavnd");
    for (const std::string& f : fields) {
      const size_t colon = f.find(':');
      req.set(f.substr(0, colon), f.substr(colon + 1 + (f[colon + 1] == ' ' ? 1 : 0)));
    }
    req.body() = body;
    req.prepare_payload();
    error_code ec = impl_->run([&](auto& s, auto done) { http::async_write(s, req, done); });
    http::response_parser<http::string_body> parser;
    parser.body_limit(1u << 30);
    if (!ec) ec = impl_->run([&](auto& s, auto done) { http::async_read(s, impl_->buffer, parser, done); });
    if (ec) {
      reply.error = ec.message();
      impl_->close();
      if (attempt == 0 && ec != beast::error::timeout) continue;
      return reply;
    }
    const auto& res = parser.get();
    reply.status = static_cast<int>(res.result_int());
    for (const auto& f : res) {
      std::string name(f.name_string());
      for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      reply.fields[name] = std::string(f.value());
    }
    reply.body = res.body();
    if (!res.keep_alive()) impl_->close();
  }
  return reply;
}

Reply TavndClient::engine(const wire::Request& request, const std::string& token) {
  std::string body;
  wire::encode_request(request, &body);
  std::vector<std::string> fields = {"Tavn-Wire: 1"};
  if (!token.empty()) fields.push_back("Authorization: Bearer " + token);
  return send("POST", wire::kRequestPath, fields, body);
}

TavndProcess::TavndProcess(const std::string& folder, const std::vector<std::string>& args)
    : address_("unix:" + folder + "/tavnd.sock"), log_(folder + "/tavnd.log") {
  std::vector<std::string> argv_s = {TAVND_PATH, "--listen", address_, "--allow-root", "--log", log_};
  argv_s.insert(argv_s.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : argv_s) argv.push_back(a.data());
  argv.push_back(nullptr);
  if (posix_spawn(&pid_, TAVND_PATH, nullptr, nullptr, argv.data(), environ) != 0) pid_ = -1;
  // Up once it answers at all (a token may be required).
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (pid_ > 0 && !started_ && std::chrono::steady_clock::now() < until) {
    started_ = TavndClient(address_, std::chrono::seconds(5)).send("GET", "/healthz").status != 0;
    if (!started_) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

TavndProcess::~TavndProcess() {
  if (pid_ > 0) stop(SIGKILL);
}

std::string TavndProcess::log() const {
  std::ifstream in(log_);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<pid_t> TavndProcess::workers() const {
  std::ifstream in("/proc/" + std::to_string(pid_) + "/task/" + std::to_string(pid_) + "/children");
  std::vector<pid_t> out;
  for (pid_t p; in >> p;) out.push_back(p);
  return out;
}

int TavndProcess::stop(int signal, std::chrono::milliseconds wait) {
  if (pid_ <= 0) return -1;
  kill(pid_, signal);
  const auto until = std::chrono::steady_clock::now() + wait;
  int status = 0;
  pid_t r = 0;
  while ((r = waitpid(pid_, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < until) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (r == 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, &status, 0);
    status = -1;
  }
  pid_ = -1;
  return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool wait_for_health(const std::string& address, const std::string& text, std::chrono::milliseconds wait,
                     const std::string& token) {
  const auto until = std::chrono::steady_clock::now() + wait;
  std::vector<std::string> fields;
  if (!token.empty()) fields.push_back("Authorization: Bearer " + token);
  while (std::chrono::steady_clock::now() < until) {
    TavndClient client(address, std::chrono::seconds(5));
    const Reply r = client.send("GET", "/healthz", fields);
    if (r.status == 200 && r.body.find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

}  // namespace tavn::test
