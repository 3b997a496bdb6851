// One speaking request (POST /v1/audio/speech or POST /v1/speak), from its
// JSON body to its answer:
//
//   - refusals of the request reader (400, 413, 415) as JSON errors;
//   - If-None-Match naming this request's ETag: 304;
//   - a Range header: 416 (the answer is streamed; a stored one is fetched
//     whole through GET /v1/audio);
//   - a stored answer (prompt cache hit): sent from the entry;
//   - the same request being rendered already: waits for it, then reads
//     the entry;
//   - otherwise the request goes to a worker; each sentence's audio leaves
//     as soon as it is rendered (chunked, open-ended WAVE sizes) and goes
//     into the cache on the way; with "marks":"json" the answer is the
//     marks and the stored audio's address (or the audio itself as a data:
//     address when nothing could be stored).
//   The answer's header waits for the first sentence, so a request the
//   engine refuses at once (bad markup) still gets a JSON error with its
//   status; a failure after that cuts the stream short (Exchange::abort).
//
// Answers carry ETag (from the request), Tavn-Cache (hit, miss or off)
// and, on /v1/audio/speech, Tavn-Model.
//
// Runs on the io_context's thread.
#ifndef TAVN_SERVER_SPEAK_JOB_H_
#define TAVN_SERVER_SPEAK_JOB_H_

#include <memory>

#include "server/api/speech_request.h"
#include "server/exchange.h"
#include "server/speech_service.h"

namespace tavn::server {

void handle_speak(SpeechService* service, SpeechRoute route,
                  const std::shared_ptr<Exchange>& exchange);

// The address of a stored answer: "/v1/audio?key=<hex>".
std::string stored_audio_url(const std::string& hex);

// Sends a stored answer's body: whole up to 4 MiB, else streamed in
// chunks.  `header` holds the status and fields to send (Content-Type,
// ETag ...).
void send_stored(const std::shared_ptr<Exchange>& exchange,
                 std::shared_ptr<PromptCache::Entry> entry, StreamHeader header);

}  // namespace tavn::server

#endif  // TAVN_SERVER_SPEAK_JOB_H_
