// tavnd's JSON request reader.  Input: one byte choosing the route (bit 0)
// and whether the Content-Type is JSON (bit 1 clear), then the body.
// Checks that an accepted request is within every limit, that its engine
// parameter string reads back the same through the engine's own reader,
// and that a refusal has a status of its own (400, 413, 415) and an error
// body that is valid JSON.  The body is also read as an If-None-Match value.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "engines/speech/engine_params.h"
#include "fuzz/fuzz_tmp.h"
#include "server/api/speech_request.h"
#include "server/cache/cache_key.h"

using namespace tavn::server;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static const VoiceNames voices = {"en", "en-us", "de", "flite:slt"};
  const auto route = data[0] & 1 ? SpeechRoute::kSpeak : SpeechRoute::kAudioSpeech;
  const char* type = data[0] & 2 ? "text/plain" : "application/json; charset=utf-8";
  const std::string_view body(reinterpret_cast<const char*>(data) + 1, size - 1);

  SpeechRequest r;
  ApiError e;
  if (!read_speech_request(route, type, body, voices, &r, &e)) {
    check(e.status == 400 || e.status == 413 || e.status == 415);
    const auto error = nlohmann::json::parse(e.body());  // throws, and so fails, if not JSON
    check(error.at("error").at("message").get<std::string>().size() > 0);
  } else {
    check(!r.text.empty() && r.text.size() <= kMaxTextBytes);
    check(voices.count(r.voice) == 1);
    check(r.output.row >= kFirstRow && r.output.row <= kLastRow);
    const std::string params = engine_params(r);
    check(params.size() <= 127);
    tavn::speech::EngineSettings s;
    check(tavn::speech::parse_engine_params(params, &s) == 0);
    check(s.voice == r.voice && s.rate == r.rate && s.pitch == r.pitch && s.volume == r.volume);
    check(speech_cache_key(r, "1").hex() == speech_cache_key(r, "1").hex());
  }
  if_none_match(body, make_cache_key("x").etag());
  return 0;
}
