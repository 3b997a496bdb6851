#include "server/http_session.h"

#include <boost/asio/write.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/chunk_encode.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/serializer.hpp>
#include <boost/beast/http/write.hpp>
#include <memory>
#include <optional>

#include "server/bearer_token.h"
#include "server/exchange.h"
#include "server/server_log.h"

namespace tavn::server {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using boost::system::error_code;

constexpr size_t kMaxHeaderBytes = 16 * 1024;

std::string peer_of(const asio::ip::tcp::socket& s) {
  error_code ec;
  const auto ep = s.remote_endpoint(ec);
  if (ec) return "?";
  return (ep.address().is_v6() ? "[" + ep.address().to_string() + "]" : ep.address().to_string()) +
         ":" + std::to_string(ep.port());
}
std::string peer_of(const asio::local::stream_protocol::socket&) { return "unix"; }

template <class Protocol>
class Session : public Exchange,
                public Connection,
                public std::enable_shared_from_this<Session<Protocol>> {
 public:
  using Stream = beast::basic_stream<Protocol>;

  Session(typename Protocol::socket socket, HttpContext& context)
      : peer_(peer_of(socket)), stream_(std::move(socket)), context_(context) {
    context_.connections.insert(this);
  }

  ~Session() override {
    context_.connections.erase(this);
    if (context_.on_connection_closed) context_.on_connection_closed();
  }

  void start() { wait_for_request(); }

  // Connection
  void close_if_idle() override {
    if (!busy_) stream_.cancel();  // the pending read ends and closes the connection
  }
  void close_now() override { close(); }

  // Exchange
  const HttpRequest& request() const override { return request_; }
  const std::string& peer() const override { return peer_; }

  void respond(HttpResponse response) override {
    count_answer(response.result_int());
    response.keep_alive(keep_alive_ && !context_.draining);
    response.prepare_payload();
    auto res = std::make_shared<HttpResponse>(std::move(response));
    stream_.expires_after(context_.idle_timeout);
    http::async_write(stream_, *res, [self = this->shared_from_this(), res](error_code ec, size_t) {
      if (ec) self->log_failure("writing the response", ec);
      self->finish(!ec && res->keep_alive());
    });
  }

  void begin_stream(StreamHeader header, Done done) override {
    count_answer(header.result_int());
    header.chunked(true);
    header.keep_alive(keep_alive_ && !context_.draining);
    stream_keep_alive_ = header.keep_alive();
    stream_header_ = std::make_unique<StreamHeader>(std::move(header));
    serializer_ = std::make_unique<http::response_serializer<http::empty_body>>(*stream_header_);
    stream_.expires_after(context_.idle_timeout);
    http::async_write_header(stream_, *serializer_,
                             [self = this->shared_from_this(), done](error_code ec, size_t) {
                               self->after_write(ec, done);
                             });
  }

  void write_chunk(std::string_view bytes, Done done) override {
    stream_.expires_after(context_.idle_timeout);
    asio::async_write(stream_, http::make_chunk(asio::buffer(bytes.data(), bytes.size())),
                      [self = this->shared_from_this(), done](error_code ec, size_t) {
                        self->after_write(ec, done);
                      });
  }

  void end_stream() override {
    stream_.expires_after(context_.idle_timeout);
    asio::async_write(stream_, http::make_chunk_last(),
                      [self = this->shared_from_this()](error_code ec, size_t) {
                        if (ec) self->log_failure("ending the response", ec);
                        self->finish(!ec && self->stream_keep_alive_);
                      });
  }

  void abort() override {
    log_line("connection from " + peer_ + ": answer cut short, its source failed");
    finish(false);
  }

 private:
  void count_answer(unsigned status) {
    if (context_.on_answer) context_.on_answer(route_ != nullptr ? route_->path : "other", status);
  }

  void after_write(error_code ec, const Done& done) {
    if (ec) {
      log_failure("streaming the response", ec);
      finish(false);
    }
    done(!ec);
  }

  void log_failure(const char* what, error_code ec) {
    const bool timed_out = ec == beast::error::timeout;
    log_line("connection from " + peer_ + ": " + what +
             " failed: " + (timed_out ? "the client took too long" : ec.message()));
  }

  // Waits for the first byte of the next request within the idle timeout.
  void wait_for_request() {
    busy_ = false;
    if (context_.draining) return close();
    if (buffer_.size() > 0) return read_header();
    stream_.expires_after(context_.idle_timeout);
    stream_.async_read_some(
        buffer_.prepare(4096), [self = this->shared_from_this()](error_code ec, size_t n) {
          self->buffer_.commit(n);
          if (ec == beast::error::timeout) {
            log_line("connection from " + self->peer_ + " closed: idle for " +
                     std::to_string(self->context_.idle_timeout.count()) + " ms");
          }
          if (ec) return self->close();
          self->read_header();
        });
  }

  void read_header() {
    parser_.emplace();
    parser_->header_limit(kMaxHeaderBytes);
    stream_.expires_after(context_.read_timeout);
    http::async_read_header(stream_, buffer_, *parser_,
                            [self = this->shared_from_this()](error_code ec, size_t) {
                              if (ec) return self->reading_failed("header", ec);
                              self->on_header();
                            });
  }

  void reading_failed(const char* part, error_code ec) {
    if (ec == http::error::body_limit) {
      return refuse(http::status::payload_too_large, "request body too large");
    }
    if (ec == beast::error::timeout) {
      log_line("connection from " + peer_ + " closed: the request's " + part +
               " took longer than " + std::to_string(context_.read_timeout.count()) + " ms");
    } else if (ec.category() == make_error_code(http::error::bad_target).category() &&
               ec != http::error::end_of_stream && ec != http::error::partial_message) {
      if (!parser_->is_header_done()) request_ = {};
      return refuse(http::status::bad_request,
                    std::string("malformed request ") + part + ": " + ec.message());
    } else if (ec != http::error::end_of_stream && ec != asio::error::operation_aborted &&
               ec != asio::error::eof) {
      log_line("connection from " + peer_ + " closed while reading a request's " + part + ": " +
               ec.message());
    }
    close();
  }

  void on_header() {
    const auto& header = parser_->get();
    busy_ = true;
    keep_alive_ = false;  // refusals before the body close the connection
    request_ = {};
    route_ = nullptr;
    request_.version(header.version());
    if (context_.draining)
      return refuse(http::status::service_unavailable, "the server is shutting down");
    if (!context_.token.empty() &&
        !bearer_matches(header[http::field::authorization], context_.token)) {
      return refuse(http::status::unauthorized, "missing or wrong bearer token");
    }
    bool path_known = false;
    route_ = context_.router->find(header.method(), header.target(), &path_known);
    if (route_ == nullptr) {
      return refuse(path_known ? http::status::method_not_allowed : http::status::not_found,
                    "no route for " + std::string(header.method_string()) + " " +
                        std::string(header.target().substr(0, 200)));
    }
    if (parser_->content_length() && *parser_->content_length() > route_->max_body) {
      return refuse(http::status::payload_too_large,
                    "request body of " + std::to_string(*parser_->content_length()) +
                        " bytes; at most " + std::to_string(route_->max_body));
    }
    parser_->body_limit(route_->max_body);
    if (beast::iequals(header[http::field::expect], "100-continue")) {
      auto cont = std::make_shared<http::response<http::empty_body>>(http::status::continue_,
                                                                     header.version());
      stream_.expires_after(context_.read_timeout);
      return http::async_write(stream_, *cont,
                               [self = this->shared_from_this(), cont](error_code ec, size_t) {
                                 if (ec) return self->close();
                                 self->read_body();
                               });
    }
    read_body();
  }

  void read_body() {
    stream_.expires_after(context_.read_timeout);
    http::async_read(stream_, buffer_, *parser_,
                     [self = this->shared_from_this()](error_code ec, size_t) {
                       if (ec) return self->reading_failed("body", ec);
                       self->request_ = self->parser_->release();
                       self->keep_alive_ = self->request_.keep_alive();
                       self->parser_.reset();
                       self->route_->handler(self->shared_from_this());
                     });
  }

  // Answers with `status` before the route runs, logs why, and closes.
  void refuse(http::status status, const std::string& why) {
    log_line("refused a request from " + peer_ + ": " + std::to_string(static_cast<int>(status)) +
             " " + why);
    busy_ = true;
    keep_alive_ = false;
    HttpResponse res = text_response(request_, status, why);
    if (status == http::status::unauthorized) res.set(http::field::www_authenticate, "Bearer");
    if (status == http::status::service_unavailable) res.set(http::field::retry_after, "1");
    respond(std::move(res));
  }

  void finish(bool keep_alive) {
    serializer_.reset();
    stream_header_.reset();
    if (keep_alive && stream_.socket().is_open()) return wait_for_request();
    close();
  }

  void close() {
    busy_ = false;
    error_code ec;
    stream_.socket().shutdown(asio::socket_base::shutdown_send, ec);
    stream_.close();
  }

  const std::string peer_;
  Stream stream_;
  HttpContext& context_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  HttpRequest request_;
  const Route* route_ = nullptr;
  bool busy_ = false;  // a request is being read or answered
  bool keep_alive_ = false;
  bool stream_keep_alive_ = false;
  std::unique_ptr<StreamHeader> stream_header_;
  std::unique_ptr<http::response_serializer<http::empty_body>> serializer_;
};

template <class Socket>
void serve(Socket socket, HttpContext& context) {
  using Protocol = typename Socket::protocol_type;
  std::make_shared<Session<Protocol>>(std::move(socket), context)->start();
}

}  // namespace

void serve_connection(asio::ip::tcp::socket socket, HttpContext& context) {
  serve(std::move(socket), context);
}
void serve_connection(asio::local::stream_protocol::socket socket, HttpContext& context) {
  serve(std::move(socket), context);
}

}  // namespace tavn::server
