#include "engines/speech/remote/server_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/un.h>

#include "engines/speech/decimal_number.h"

namespace tavn::speech {
namespace {

bool read_port(std::string_view s, bool port_zero, uint16_t* out) {
  uint64_t v = 0;
  if (!read_decimal(s, 65535, &v) || (v == 0 && !port_zero)) return false;
  *out = static_cast<uint16_t>(v);
  return true;
}

}  // namespace

bool parse_server_address(std::string_view text, ServerAddress* out, bool port_zero) {
  constexpr std::string_view kUnix = "unix:";
  if (text.find('\0') != std::string_view::npos) return false;
  if (text.substr(0, kUnix.size()) == kUnix) {
    const std::string_view path = text.substr(kUnix.size());
    if (path.empty() || path[0] != '/' || path.size() >= sizeof(sockaddr_un{}.sun_path))
      return false;
    out->is_unix = true;
    out->path.assign(path.data(), path.size());
    return true;
  }
  const size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || !read_port(text.substr(colon + 1), port_zero, &out->port))
    return false;
  std::string host(text.substr(0, colon));
  unsigned char binary[sizeof(in6_addr)];
  bool ok;
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
    ok = inet_pton(AF_INET6, host.c_str(), binary) == 1;
  } else {
    if (host == "localhost") host = "127.0.0.1";
    ok = inet_pton(AF_INET, host.c_str(), binary) == 1;
  }
  if (!ok) return false;
  out->is_unix = false;
  out->host = std::move(host);
  return true;
}

}  // namespace tavn::speech
