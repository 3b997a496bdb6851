// The engine's HTTP/1.1 link to one speech server: sends one request at a
// time and hands out the frames of the response as they arrive.
//
// Everything runs on the calling thread: each wait for the server runs the
// link's I/O context for at most its timeout, and no thread is created.
// Reading is pulled by the caller: bytes are read from the socket only
// until the frame asked for is complete, so a response is never held beyond
// one frame and one read's worth of bytes, and the server's writes wait on
// the caller's pace.  The socket stays open between requests while the
// server keeps it alive; a request on a kept socket that the server has
// meanwhile closed is sent once more on a new one.
//
// Results: ENGINE_ERR_SERVER_UNREACHABLE (no connection within the connect
// timeout), ENGINE_ERR_SERVER_FAILED (the connection broke, timed out or
// carried something other than HTTP and the piece stream, or an HTTP status
// that says the server failed), ENGINE_ERR_SERVER_BUSY (503),
// ENGINE_ERR_SERVER_REFUSED (a 4xx status: malformed or oversized request,
// a wrong or missing token; or a response of another wire version, by its
// Tavn-Wire header or its stream header).  After any failure the
// socket is closed.
//
// Not thread-safe: used by one connection's thread at a time.
#ifndef TAVN_ENGINES_SPEECH_REMOTE_SERVER_LINK_H_
#define TAVN_ENGINES_SPEECH_REMOTE_SERVER_LINK_H_

#include <cstdint>
#include <memory>
#include <string>

#include "engines/speech/remote/server_address.h"
#include "engines/speech/remote/wire_format.h"

namespace boost::asio {
class io_context;
}

namespace tavn::speech {

struct LinkSettings {
  uint32_t connect_timeout_ms = 0;
  uint32_t timeout_ms = 0;  // the longest wait for the server's next bytes
  std::string token;        // sent as "Authorization: Bearer" when not empty
};

class ServerLink {
 public:
  // Uses `io` (not owned; it must outlive the link) for all its I/O.
  ServerLink(boost::asio::io_context& io, ServerAddress address, const LinkSettings& settings);
  ~ServerLink();
  ServerLink(const ServerLink&) = delete;
  ServerLink& operator=(const ServerLink&) = delete;

  // Sends `body`, a wire request, and waits for the response's status and
  // header.  Returns 0 when the server accepted it (status 200: the frames
  // follow), or one of the results above.  A response still being read is
  // abandoned (its socket closed).
  uint32_t send(const std::string& body);

  // The next frame of the accepted response into `*out`.  Returns 0;
  // ENGINE_ERR_SERVER_FAILED when the stream broke, timed out, is malformed
  // or ended before a frame; ENGINE_ERR_SERVER_REFUSED when it is of
  // another wire version.
  uint32_t next_frame(wire::Frame* out);

  // After the response's kEnd or kError frame: reads the rest of the HTTP
  // message (briefly), then keeps the socket for the next request if the
  // server allows it, or closes it.
  void finish();

  // Closes the socket, abandoning any response.
  void close();

 private:
  struct State;
  std::unique_ptr<State> s_;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_REMOTE_SERVER_LINK_H_
