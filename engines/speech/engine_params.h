// The engine's connection settings and how they are read from the
// parameter string of TTSConnectRecord.
//
// Syntax: "key=value" items separated by commas, semicolons or white space,
// e.g. "voice=en,rate=170,5=4".  Keys are matched without regard to case;
// unknown keys and items without '=' are ignored; a key given twice takes its
// last value.
//
//   voice=NAME   libespeak-ng voice: a language or voice file name with an
//                optional variant, e.g. en, en-us, cmn, en+f3  (default en);
//                or a flite voice: flite:slt, flite:awb, flite:rms,
//                flite:kal16, flite:kal
//   rate=N       words per minute, 80 to 450                  (default 175)
//   pitch=N      base pitch, 0 to 100                           (default 50)
//   volume=N     amplitude, 0 to 200                           (default 100)
//   5=N          audio data format: 0 (the default, format 4) or 1 to 30;
//                101 to 104 keep the default (the front end then sets the
//                format itself)
//   markup=M     auto: a text is SSML markup when looks_like_markup says so;
//                ssml: always markup; off: always plain text  (default auto)
//   audio_root=D the one folder (an absolute path) that <audio src> files
//                may come from; empty: none, every <audio> speaks its
//                fallback content  (default: none, or see kAudioRootVariable)
//
// The whole string is at most 127 bytes, so a long audio folder is better
// named by the environment variable kAudioRootVariable, which an audio_root
// item overrides.
//
// Read by the engine when it speaks through a speech server (conn_str1 set;
// the server ignores them):
//   connect_timeout=MS  milliseconds to reach a server, 1 to 60000 (default 2000)
//   timeout=MS   milliseconds a request may wait for the server's next
//                bytes, 1 to 600000                           (default 15000)
//   token_file=PATH  the file holding the bearer token for servers that
//                require one (default: $TAVN_TOKEN_FILE; neither: no token)
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_ENGINE_PARAMS_H_
#define TAVN_ENGINES_SPEECH_ENGINE_PARAMS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "engines/speech/audio/output_format.h"

namespace tavn::speech {

constexpr int kMinRate = 80, kMaxRate = 450, kDefaultRate = 175;
constexpr int kMaxPitch = 100, kDefaultPitch = 50;
constexpr int kMaxVolume = 200, kDefaultVolume = 100;
constexpr size_t kMaxVoiceName = 40;
constexpr uint32_t kMaxConnectTimeoutMs = 60000, kDefaultConnectTimeoutMs = 2000;
constexpr uint32_t kMaxTimeoutMs = 600000, kDefaultTimeoutMs = 15000;

// Environment variable naming the audio folder of connections whose
// parameter string has no audio_root item (tts_api.cpp reads it at connect).
constexpr const char* kAudioRootVariable = "TAVN_AUDIO_ROOT";

enum class MarkupMode {
  kAuto,  // markup when the text looks like it (markup::looks_like_markup)
  kSsml,  // always markup
  kOff,   // always plain text
};

struct EngineSettings {
  std::string voice = "en";
  int rate = kDefaultRate;
  int pitch = kDefaultPitch;
  int volume = kDefaultVolume;
  uint32_t format = kDefaultFormat;  // always a row from 1 to 30
  MarkupMode markup = MarkupMode::kAuto;
  bool audio_root_given = false;  // an audio_root item was read (even an empty one)
  std::string audio_root;         // absolute folder, or "" for none
  uint32_t connect_timeout_ms = kDefaultConnectTimeoutMs;
  uint32_t timeout_ms = kDefaultTimeoutMs;
  std::string token_file;  // empty: none given
};

// Reads `params` into `*out`, which should hold the defaults on entry.
// Returns 0; ENGINE_ERR_UNKNOWN_VOICE for a voice name that is empty, longer
// than kMaxVoiceName or has characters other than letters, digits, '-', '_',
// '+' and ':'; ENGINE_ERR_BAD_VALUE for a rate, pitch or volume that is not a
// decimal number in its range (also a timeout, and an empty token_file);
// ENGINE_ERR_FORMAT_REFUSED for a "5=" value that is not a decimal number in
// 0..30 or 101..104; ENGINE_ERR_BAD_VALUE for a markup value other than auto,
// ssml and off (in any case) or an audio_root that is neither empty nor an
// absolute path.  The first bad item
// decides; `*out` may then be partly updated.
uint32_t parse_engine_params(std::string_view params, EngineSettings* out);

// True for a name voice= accepts: 1 to kMaxVoiceName letters, digits, '-',
// '_', '+' and ':'.
bool valid_voice_name(std::string_view name);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_ENGINE_PARAMS_H_
