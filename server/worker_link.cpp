#include "server/worker_link.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace tavn::server {
namespace {

uint32_t le32(const uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}

// Reads exactly `length` bytes: 1, 0 at end of stream before the first
// byte, -1 at an error or an end of stream after it.
int read_exactly(int fd, void* data, size_t length) {
  auto* p = static_cast<uint8_t*>(data);
  size_t got = 0;
  while (got < length) {
    const ssize_t n = read(fd, p + got, length - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return got == 0 && n == 0 ? 0 : -1;
    got += static_cast<size_t>(n);
  }
  return 1;
}

}  // namespace

bool encode_job(const wire::Request& request, std::string* out) {
  std::string body;
  if (!wire::encode_request(request, &body)) return false;
  const auto n = static_cast<uint32_t>(body.size());
  const char length[4] = {static_cast<char>(n), static_cast<char>(n >> 8),
                          static_cast<char>(n >> 16), static_cast<char>(n >> 24)};
  out->append(length, 4);
  out->append(body);
  return true;
}

int read_job(int fd, wire::Request* out, std::string* why) {
  uint8_t length[4];
  const int r = read_exactly(fd, length, sizeof length);
  if (r <= 0) {
    if (r < 0) *why = "truncated job length";
    return r;
  }
  const uint32_t n = le32(length);
  if (n > kMaxJobBytes) {
    *why = "job of " + std::to_string(n) + " bytes";
    return -1;
  }
  std::string body(n, '\0');
  if (read_exactly(fd, body.data(), n) != 1) {
    *why = "truncated job";
    return -1;
  }
  return wire::decode_request(body, out, why) ? 1 : -1;
}

bool write_all(int fd, const void* data, size_t length) {
  const auto* p = static_cast<const char*>(data);
  while (length > 0) {
    const ssize_t n = send(fd, p, length, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    length -= static_cast<size_t>(n);
  }
  return true;
}

FrameHeader read_frame_header(const uint8_t* bytes) {
  FrameHeader h;
  h.type = le32(bytes);
  h.code = le32(bytes + 4);
  h.length = le32(bytes + 20);
  return h;
}

}  // namespace tavn::server
