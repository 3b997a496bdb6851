// Reads the JSON body of the two speaking routes into what the engine is
// asked to do.
//
//   POST /v1/audio/speech  the widely used shape:
//     input            string, required: the text
//     voice            string, required: an installed voice name
//     model            string, optional: not used, reported back as given
//     response_format  "mp3" (default), "wav" or "pcm"
//     speed            number 0.25 to 4.0, default 1
//   POST /v1/speak  the native shape:
//     text    string, required: plain text or markup
//     voice   string, default "en"
//     rate    number, words per minute 80 to 450, default 175
//     pitch   number 0 to 100, default 50
//     volume  number 0 to 200, default 100
//     format  a row of the audio format table, by number (0 to 30, 0 being
//             the default row 4) or name ("TTS_ADF_ULAW8K1C", "ulaw8k1c")
//     header  boolean, default true: false leaves out the WAVE header
//     marks   "none" (default) or "json"
// Numbers may carry a fraction: they are rounded to the nearest whole one.
// Members not named here are ignored, so clients that send more (such as
// "instructions" or "stream_format") keep working.
//
// response_format: "mp3" (the default, as clients of that shape expect) is
// row 30 (MP3, 16000 Hz, 32 kbit/s); "wav" is row 4 (16-bit PCM at
// 16000 Hz in a WAVE file); "pcm" is row 4's samples without the header
// (16-bit little-endian, mono, 16000 Hz).
//
// speed: rate = 175 x speed words per minute, rounded, then clamped to the
// engine's 80..450: speeds below 0.46 all speak at 80, above 2.57 at 450.
//
// Refusals (the ApiError to send):
//   415  Content-Type other than application/json (parameters allowed)
//   413  body over kMaxBodyBytes, or text over kMaxTextBytes
//   400  not JSON, not an object, invalid UTF-8 (the JSON reader checks
//        every string), a member of the wrong type or out of its range, a
//        missing or blank text, a voice not in the list, an unknown format,
//        response_format or marks value.
//
// Pure function of its arguments: safe from any thread.
#ifndef TAVN_SERVER_API_SPEECH_REQUEST_H_
#define TAVN_SERVER_API_SPEECH_REQUEST_H_

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "server/api/api_error.h"
#include "server/api/audio_output.h"

namespace tavn::server {

constexpr size_t kMaxTextBytes = 65536;
// Room for a text of kMaxTextBytes written entirely as \u escapes.
constexpr size_t kMaxBodyBytes = 6 * kMaxTextBytes + 16384;

enum class SpeechRoute {
  kAudioSpeech,  // POST /v1/audio/speech
  kSpeak,        // POST /v1/speak
};

struct SpeechRequest {
  std::string text;
  std::string voice;  // spelled as in the voice list
  int rate = 175;
  int pitch = 50;
  int volume = 100;
  AudioOutput output;
  bool marks = false;  // /v1/speak with "marks":"json"
  std::string model;   // /v1/audio/speech: "model" as given, "" when absent
};

// Installed voice names; looked up exactly, then without regard to case.
using VoiceNames = std::set<std::string, std::less<>>;

// Reads `body` for `route`.  True with `*out` filled; false with `*error`
// set (`*out` then unspecified).
bool read_speech_request(SpeechRoute route, std::string_view content_type, std::string_view body,
                         const VoiceNames& voices, SpeechRequest* out, ApiError* error);

// The engine parameter string of a request that was read:
// "voice=NAME,rate=R,pitch=P,volume=V" (the format travels apart).
std::string engine_params(const SpeechRequest& request);

// True for "application/json", in any case, with or without parameters
// ("application/json; charset=utf-8").
bool is_json_content_type(std::string_view content_type);

}  // namespace tavn::server

#endif  // TAVN_SERVER_API_SPEECH_REQUEST_H_
