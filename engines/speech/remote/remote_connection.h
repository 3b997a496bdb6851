// An engine connection whose requests a speech server (tavnd) speaks: the
// engine's side of conn_str1 and conn_str2.
//
// The pieces, offsets, non_audio_bytes, headers and format are the
// server's engine's, handed out one by one as they arrive; memory holds one
// piece whatever the text's length.
//
// Failover: every request, and the check at connect, goes to the first
// server; the second (conn_str2, when set) is tried when the first cannot
// be reached, is busy, or fails before the request's first piece.  Once a
// piece was handed out, a failure ends the request.  A refusal (4xx) or an
// engine result from the server (an unknown voice, ...) is the answer and
// goes to nobody else.  When every server fails, the result is the first
// one that is not ENGINE_ERR_SERVER_UNREACHABLE, if any.
//
// Not thread-safe: one connection is used by one thread at a time; all I/O
// runs on that thread.
#ifndef TAVN_ENGINES_SPEECH_REMOTE_REMOTE_CONNECTION_H_
#define TAVN_ENGINES_SPEECH_REMOTE_REMOTE_CONNECTION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/engine_connection.h"
#include "engines/speech/engine_params.h"
#include "engines/speech/remote/server_link.h"
#include "engines/speech/remote/wire_format.h"

namespace boost::asio {
class io_context;
}

namespace tavn::speech {

class RemoteConnection : public EngineConnection {
 public:
  // Opens a connection to the servers named by `conn_str1` and `conn_str2`
  // (empty: none), with `params` and `settings` read from them: reads the
  // bearer token and has a server check the parameters.  Returns 0 and the
  // connection in `*out`; ENGINE_ERR_BAD_VALUE for a connection string
  // that names no server address or an unreadable token file; the results
  // of ServerLink; or the server's engine result for the parameters.
  static uint32_t Open(std::string_view conn_str1, std::string_view conn_str2,
                       std::string_view params, const EngineSettings& settings,
                       std::shared_ptr<EngineConnection>* out);

  ~RemoteConnection() override;

  uint32_t set_format(uint32_t format) override;
  uint32_t format() const override { return format_; }

  // Sends the text to the servers in turn until one gives its first piece.
  // Besides the results of Open: ENGINE_ERR_NULL_ARGUMENT, and
  // ENGINE_ERR_SERVER_REFUSED for a text longer than the wire carries.
  uint32_t start(TTSSynthRecord* record) override;
  uint32_t next(TTSSynthRecord* record) override;

 private:
  RemoteConnection(std::string params, uint32_t format);

  // Sends `body` to each server in turn until one accepts it and its first
  // frame is a piece (into piece_) or kEnd (`*end` set); link_ is then that
  // server's link.
  uint32_t exchange(const std::string& body, bool* end);
  // Reads the next frame on link_; a piece goes to piece_.  Returns 0 for a
  // piece, 0 with `*end` set for kEnd, or a result (a kError frame's engine
  // code).
  uint32_t read(bool* end);
  // Checks piece_ against the request, reads the kEnd behind a last piece,
  // and fills the record.  On failure the record is unchanged and the
  // request over.
  uint32_t deliver(TTSSynthRecord* record);

  std::string params_;
  uint32_t format_;
  std::unique_ptr<boost::asio::io_context> io_;
  std::vector<std::unique_ptr<ServerLink>> servers_;  // conn_str1's, then conn_str2's
  ServerLink* link_ = nullptr;                        // the one speaking the request
  bool running_ = false;
  uint32_t text_length_ = 0;
  wire::Frame piece_;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_REMOTE_REMOTE_CONNECTION_H_
