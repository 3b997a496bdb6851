// What the engine operations need of a connection, wherever it speaks: in
// this process (Connection) or on a speech server (RemoteConnection).
//
// Every implementation fills the records alike: TTSSynthText's piece is the
// header alone, each TTSFetchNext gives one sentence's piece with its byte
// offsets, the last piece has status 0, and a piece's audio stays valid
// until the next call on the connection.
//
// Not thread-safe: one connection is used by one thread at a time.
#ifndef TAVN_ENGINES_SPEECH_ENGINE_CONNECTION_H_
#define TAVN_ENGINES_SPEECH_ENGINE_CONNECTION_H_

#include <cstdint>

#include "synth/kavritts.h"

namespace tavn::speech {

class EngineConnection {
 public:
  virtual ~EngineConnection() = default;

  // Engine parameter 5: 0 (the default) to 30.  Returns 0,
  // ENGINE_ERR_FORMAT_REFUSED or, while a request runs, ENGINE_ERR_BUSY.
  virtual uint32_t set_format(uint32_t format) = 0;
  // The format in use, 1 to 30 (never 0).
  virtual uint32_t format() const = 0;

  // TTSSynthText: starts speaking record->text (text_length bytes) and
  // fills the record with the first piece.  A request still running is
  // abandoned.  Returns 0 or an engine result.
  virtual uint32_t start(TTSSynthRecord* record) = 0;

  // TTSFetchNext: fills the record with the next piece.  Returns 0;
  // ENGINE_ERR_NO_REQUEST when no request runs; or the failure, which ends
  // the request.  On failure the record is not changed.
  virtual uint32_t next(TTSSynthRecord* record) = 0;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_ENGINE_CONNECTION_H_
