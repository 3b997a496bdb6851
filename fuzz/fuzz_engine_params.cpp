// Connection parameter string.  Input: the parameter text.  Checks that a
// string the reader accepts leaves every setting in its range, that a
// refusal carries one of the reader's three codes, and that the accepted
// settings written back as a parameter string read back the same.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "fuzz/fuzz_tmp.h"

namespace {

using namespace tavn::speech;

bool valid_voice(const std::string& v) {
  if (v.empty() || v.size() > kMaxVoiceName) return false;
  for (char c : v) {
    const bool alnum = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!alnum && c != '-' && c != '_' && c != '+' && c != ':') return false;
  }
  return true;
}

bool same(const EngineSettings& a, const EngineSettings& b) {
  return a.voice == b.voice && a.rate == b.rate && a.pitch == b.pitch && a.volume == b.volume &&
         a.format == b.format && a.markup == b.markup && a.audio_root == b.audio_root &&
         a.connect_timeout_ms == b.connect_timeout_ms && a.timeout_ms == b.timeout_ms &&
         a.token_file == b.token_file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view params(reinterpret_cast<const char*>(data), size);
  EngineSettings s;
  const uint32_t r = parse_engine_params(params, &s);
  if (r != 0) {
    check(r == ENGINE_ERR_UNKNOWN_VOICE || r == ENGINE_ERR_BAD_VALUE ||
          r == ENGINE_ERR_FORMAT_REFUSED);
    return 0;
  }
  check(valid_voice(s.voice));
  check(s.rate >= kMinRate && s.rate <= kMaxRate);
  check(s.pitch >= 0 && s.pitch <= kMaxPitch);
  check(s.volume >= 0 && s.volume <= kMaxVolume);
  check(s.format >= 1 && s.format <= kLastFormat);
  check(s.audio_root.empty() || (s.audio_root_given && s.audio_root[0] == '/'));
  const char* const kModes[] = {"auto", "ssml", "off"};
  check(s.connect_timeout_ms >= 1 && s.connect_timeout_ms <= kMaxConnectTimeoutMs);
  check(s.timeout_ms >= 1 && s.timeout_ms <= kMaxTimeoutMs);

  const std::string again =
      "voice=" + s.voice + ",rate=" + std::to_string(s.rate) + ";pitch=" + std::to_string(s.pitch) +
      " VOLUME=" + std::to_string(s.volume) + "\t5=" + std::to_string(s.format) +
      ",markup=" + kModes[static_cast<int>(s.markup)] + ",audio_root=" + s.audio_root +
      ",connect_timeout=" + std::to_string(s.connect_timeout_ms) +
      ",timeout=" + std::to_string(s.timeout_ms) +
      (s.token_file.empty() ? "" : ",token_file=" + s.token_file);
  EngineSettings t;
  check(parse_engine_params(again, &t) == 0 && same(s, t));
  return 0;
}
