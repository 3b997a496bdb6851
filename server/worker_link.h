// How the master and a worker talk over their socketpair.
//
// Master to worker: a job, u32 length (little-endian) then a request body of
// the engine's wire format (remote/wire_format.h).  Worker to master: the
// response frames of that wire format, as they go to the client, the last
// one kEnd or kError; no stream header (the master writes that).  One job at
// a time per worker.
//
// Pure functions, and blocking reads and writes on a descriptor the caller
// owns: safe from any thread for distinct descriptors.
#ifndef TAVN_SERVER_WORKER_LINK_H_
#define TAVN_SERVER_WORKER_LINK_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "engines/speech/remote/wire_format.h"

namespace tavn::server {

namespace wire = tavn::speech::wire;

// Largest job body: the fixed part, the longest parameters and text.
constexpr size_t kMaxJobBytes =
    wire::kRequestFixedBytes + wire::kMaxWireParams + wire::kMaxWireText;

// Appends the job for `request` to `*out`.  False when the request exceeds
// the wire format's limits (nothing appended).
bool encode_job(const wire::Request& request, std::string* out);

// Reads one job from `fd`.  1: `*out` holds it; 0: the master closed the
// socket before a job began; -1: a malformed or truncated job or a read
// error, with `*why` set.
int read_job(int fd, wire::Request* out, std::string* why);

// Writes all of `data`, retrying short writes and EINTR; false when the
// peer is gone (no SIGPIPE is raised).
bool write_all(int fd, const void* data, size_t length);

// The fixed part of a frame, read from its first wire::kFrameHeaderBytes.
struct FrameHeader {
  uint32_t type = 0;
  uint32_t code = 0;
  uint32_t length = 0;  // bytes after the fixed part
};
FrameHeader read_frame_header(const uint8_t* bytes);

}  // namespace tavn::server

#endif  // TAVN_SERVER_WORKER_LINK_H_
