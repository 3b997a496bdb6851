#include "server/http_listener.h"

#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include "server/http_session.h"
#include "server/server_log.h"

namespace tavn::server {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;

template <class Protocol>
class AcceptingListener : public Listener {
 public:
  AcceptingListener(asio::io_context& io, HttpContext& context, std::string unix_path)
      : acceptor_(io), retry_(io), context_(context), unix_path_(std::move(unix_path)) {}

  ~AcceptingListener() override { close(); }

  bool open(const typename Protocol::endpoint& endpoint, std::string* why) {
    error_code ec;
    acceptor_.open(endpoint.protocol(), ec);
    if (!ec && unix_path_.empty()) acceptor_.set_option(asio::socket_base::reuse_address(true), ec);
    if (!ec) acceptor_.bind(endpoint, ec);
    if (!ec) acceptor_.listen(asio::socket_base::max_listen_connections, ec);
    if (ec) {
      *why = ec.message();
      return false;
    }
    accept();
    return true;
  }

  void close() override {
    if (!acceptor_.is_open()) return;
    error_code ec;
    acceptor_.close(ec);
    retry_.cancel();
    if (!unix_path_.empty()) unlink(unix_path_.c_str());
  }

  std::string address() const override {
    if (!unix_path_.empty()) return "unix:" + unix_path_;
    error_code ec;
    const auto ep = acceptor_.local_endpoint(ec);
    return ec ? "?" : describe(ep);
  }

  std::string unix_path() const override { return unix_path_; }

 private:
  template <class Endpoint>
  static std::string describe(const Endpoint& ep) {
    if constexpr (std::is_same_v<Protocol, asio::ip::tcp>) {
      const std::string a = ep.address().to_string();
      return (ep.address().is_v6() ? "[" + a + "]" : a) + ":" + std::to_string(ep.port());
    } else {
      return ep.path();
    }
  }

  void accept() {
    acceptor_.async_accept([this](error_code ec, typename Protocol::socket socket) {
      if (ec == asio::error::operation_aborted || !acceptor_.is_open()) return;
      if (ec) {
        // Out of descriptors and the like: wait a little rather than spin.
        log_line("accept on " + address() + " failed: " + ec.message());
        retry_.expires_after(std::chrono::milliseconds(100));
        return retry_.async_wait([this](error_code e) {
          if (!e) accept();
        });
      }
      if (context_.connections.size() >= context_.max_connections) {
        log_line("refused a connection on " + address() + ": " +
                 std::to_string(context_.connections.size()) + " connections open (the limit)");
        error_code ignored;
        socket.close(ignored);
      } else {
        serve_connection(std::move(socket), context_);
      }
      accept();
    });
  }

  typename Protocol::acceptor acceptor_;
  asio::steady_timer retry_;
  HttpContext& context_;
  std::string unix_path_;
};

}  // namespace

std::unique_ptr<Listener> open_listener(asio::io_context& io, const ListenAddress& address,
                                        HttpContext& context, std::string* why) {
  if (address.is_unix) {
    struct stat st {};
    if (lstat(address.path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) unlink(address.path.c_str());
    auto l = std::make_unique<AcceptingListener<asio::local::stream_protocol>>(io, context,
                                                                               address.path);
    if (!l->open(asio::local::stream_protocol::endpoint(address.path), why)) {
      *why = "cannot listen on " + address.text + ": " + *why;
      return nullptr;
    }
    chmod(address.path.c_str(), 0660);
    return l;
  }
  error_code ec;
  const auto ip = asio::ip::make_address(address.host, ec);
  auto l = std::make_unique<AcceptingListener<asio::ip::tcp>>(io, context, "");
  if (ec || !l->open(asio::ip::tcp::endpoint(ip, address.port), why)) {
    *why = "cannot listen on " + address.text + ": " + (ec ? ec.message() : *why);
    return nullptr;
  }
  return l;
}

}  // namespace tavn::server
