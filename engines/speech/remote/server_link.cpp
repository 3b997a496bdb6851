#include "engines/speech/remote/server_link.h"

#include <algorithm>
#include <boost/asio/connect.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
#include <limits>
#include <optional>
#include <vector>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Socket = asio::generic::stream_protocol::socket;

constexpr size_t kReadBytes = 16384;        // one read from the socket at most
constexpr size_t kMaxHeaderBytes = 8192;    // a response's status line and header
constexpr uint32_t kFinishTimeoutMs = 200;  // for the bytes after the last frame

// 4xx: the server will not take this request; 503: not now; the rest: it failed.
uint32_t status_result(unsigned status) {
  if (status == 503) return ENGINE_ERR_SERVER_BUSY;
  if (status >= 400 && status < 500) return ENGINE_ERR_SERVER_REFUSED;
  return ENGINE_ERR_SERVER_FAILED;
}

}  // namespace

struct ServerLink::State {
  State(asio::io_context& io_context, ServerAddress a, const LinkSettings& s)
      : io(io_context), address(std::move(a)), settings(s), socket(io_context) {}

  // Starts an operation through `start(handler)` and runs the I/O context
  // until it completes or `ms` pass.  On time-out the socket is closed,
  // which ends the operation, and the result is timed_out.
  template <typename Start>
  error_code wait(Start start, uint32_t ms) {
    error_code result = asio::error::would_block;
    start([&result](error_code ec, size_t = 0) { result = ec; });
    io.restart();
    io.run_for(std::chrono::milliseconds(ms));
    if (result == asio::error::would_block) {
      error_code ignored;
      socket.close(ignored);
      io.restart();
      io.run();  // the aborted operation's handler
      return asio::error::timed_out;
    }
    return result;
  }

  uint32_t connect() {
    close();
    asio::generic::stream_protocol::endpoint endpoint;
    if (address.is_unix) {
      endpoint = asio::local::stream_protocol::endpoint(address.path);
    } else {
      error_code ec;
      const asio::ip::address ip = asio::ip::make_address(address.host, ec);
      if (ec) return ENGINE_ERR_SERVER_UNREACHABLE;
      endpoint = asio::ip::tcp::endpoint(ip, address.port);
    }
    error_code ec;
    socket.open(endpoint.protocol(), ec);
    if (!ec) {
      ec = wait([&](auto handler) { socket.async_connect(endpoint, handler); },
                settings.connect_timeout_ms);
    }
    if (!ec && !address.is_unix) socket.set_option(asio::ip::tcp::no_delay(true), ec);
    if (ec) {
      close();
      return ENGINE_ERR_SERVER_UNREACHABLE;
    }
    return 0;
  }

  void close() {
    error_code ignored;
    socket.close(ignored);
    kept = false;
    parser.reset();
  }

  // One read of the response body, within `ms`, fed to the frame reader;
  // `*got` is the body bytes it brought.
  error_code read_body(uint32_t ms, size_t* got) {
    auto& body = parser->get().body();
    body.data = chunk.data();
    body.size = chunk.size();
    error_code ec =
        wait([&](auto handler) { http::async_read_some(socket, buffer, *parser, handler); }, ms);
    if (ec == http::error::need_buffer) ec = {};
    *got = chunk.size() - body.size;
    if (!ec) frames.feed(chunk.data(), *got);
    return ec;
  }

  asio::io_context& io;
  const ServerAddress address;
  const LinkSettings settings;
  Socket socket;
  bool kept = false;  // the socket is open and the last response was read whole
  boost::beast::flat_buffer buffer{kMaxHeaderBytes};
  std::optional<http::response_parser<http::buffer_body>> parser;
  wire::FrameReader frames;
  std::vector<char> chunk = std::vector<char>(kReadBytes);
};

ServerLink::ServerLink(asio::io_context& io, ServerAddress address, const LinkSettings& settings)
    : s_(std::make_unique<State>(io, std::move(address), settings)) {}

ServerLink::~ServerLink() { close(); }

void ServerLink::close() { s_->close(); }

uint32_t ServerLink::send(const std::string& body) {
  State& s = *s_;
  http::request<http::string_body> request{http::verb::post, wire::kRequestPath, 11};
  request.set(http::field::host, s.address.is_unix ? std::string("localhost")
                                 : s.address.host.find(':') != std::string::npos
                                     ? "[" + s.address.host + "]:" + std::to_string(s.address.port)
                                     : s.address.host + ":" + std::to_string(s.address.port));
  request.set(wire::kVersionHeader, std::to_string(wire::kVersion));
  request.set(http::field::content_type, "application/octet-stream");
  if (!s.settings.token.empty())
    request.set(http::field::authorization, "Bearer " + s.settings.token);
  request.body() = body;
  request.prepare_payload();

  for (;;) {
    const bool reused = s.kept;
    if (!reused) {
      if (uint32_t r = s.connect()) return r;
    }
    s.kept = false;
    s.parser.reset();
    s.buffer.clear();
    s.frames = wire::FrameReader();
    error_code ec = s.wait([&](auto handler) { http::async_write(s.socket, request, handler); },
                           s.settings.timeout_ms);
    if (!ec) {
      s.parser.emplace();
      // The stream is as long as the text's speech.  (Boost 1.74 compares a
      // Content-Length with an unset limit as if it were exceeded, so the
      // limit is set to the largest value instead.)
      s.parser->body_limit(std::numeric_limits<std::uint64_t>::max());
      s.parser->header_limit(kMaxHeaderBytes);
      ec = s.wait(
          [&](auto handler) { http::async_read_header(s.socket, s.buffer, *s.parser, handler); },
          s.settings.timeout_ms);
    }
    if (ec) {
      // A kept socket the server closed in the meantime answers nothing at
      // all: try once more on a new one.
      const bool closed_before = ec == http::error::end_of_stream ||
                                 ec == asio::error::connection_reset ||
                                 ec == asio::error::broken_pipe;
      s.close();
      if (reused && closed_before) continue;
      return ENGINE_ERR_SERVER_FAILED;
    }
    const unsigned status = s.parser->get().result_int();
    const auto version = s.parser->get()[wire::kVersionHeader];
    if (!version.empty() && version != std::to_string(wire::kVersion)) {
      s.close();
      return ENGINE_ERR_SERVER_REFUSED;  // a server of another wire version
    }
    if (status != 200) {
      s.close();
      return status_result(status);
    }
    return 0;
  }
}

uint32_t ServerLink::next_frame(wire::Frame* out) {
  State& s = *s_;
  if (!s.parser) return ENGINE_ERR_SERVER_FAILED;
  std::string why;
  for (;;) {
    const int r = s.frames.next(out, &why);
    if (r == 1) return 0;
    size_t got = 0;
    if (r < 0 || s.parser->is_done() || s.read_body(s.settings.timeout_ms, &got)) {
      s.close();
      return s.frames.other_version() ? ENGINE_ERR_SERVER_REFUSED : ENGINE_ERR_SERVER_FAILED;
    }
  }
}

void ServerLink::finish() {
  State& s = *s_;
  if (!s.parser) return;
  // Only the chunked body's last chunk should follow the last frame: any
  // body byte, a failure or a slow end closes the socket.
  const uint32_t ms = std::min(s.settings.timeout_ms, kFinishTimeoutMs);
  size_t got = 0;
  while (s.frames.empty() && !s.parser->is_done() && !s.read_body(ms, &got) && got == 0) {
  }
  if (!s.frames.empty() || !s.parser->is_done() || !s.parser->get().keep_alive() ||
      s.buffer.size() != 0) {
    s.close();
    return;
  }
  s.parser.reset();
  s.kept = true;
}

}  // namespace tavn::speech
