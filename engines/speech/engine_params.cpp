#include "engines/speech/engine_params.h"

#include <cctype>

#include "engines/speech/decimal_number.h"
#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

bool is_separator(char c) {
  return c == ',' || c == ';' || std::isspace(static_cast<unsigned char>(c));
}

bool equals_i(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  }
  return true;
}

bool read_number(std::string_view s, uint32_t max, uint32_t* out) {
  uint64_t v = 0;
  if (!read_decimal(s, max, &v)) return false;
  *out = static_cast<uint32_t>(v);
  return true;
}

bool read_ranged(std::string_view s, int lo, int hi, int* out) {
  uint32_t v = 0;
  if (!read_number(s, static_cast<uint32_t>(hi), &v) || static_cast<int>(v) < lo) return false;
  *out = static_cast<int>(v);
  return true;
}

uint32_t apply(std::string_view key, std::string_view value, EngineSettings* out) {
  if (equals_i(key, "voice")) {
    if (!valid_voice_name(value)) return ENGINE_ERR_UNKNOWN_VOICE;
    out->voice.assign(value.data(), value.size());
  } else if (equals_i(key, "rate")) {
    if (!read_ranged(value, kMinRate, kMaxRate, &out->rate)) return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "pitch")) {
    if (!read_ranged(value, 0, kMaxPitch, &out->pitch)) return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "volume")) {
    if (!read_ranged(value, 0, kMaxVolume, &out->volume)) return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "connect_timeout")) {
    if (!read_number(value, kMaxConnectTimeoutMs, &out->connect_timeout_ms) ||
        out->connect_timeout_ms == 0)
      return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "timeout")) {
    if (!read_number(value, kMaxTimeoutMs, &out->timeout_ms) || out->timeout_ms == 0)
      return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "token_file")) {
    if (value.empty()) return ENGINE_ERR_BAD_VALUE;
    out->token_file.assign(value.data(), value.size());
  } else if (key == "5") {
    uint32_t format = 0;
    if (!read_number(value, 104, &format)) return ENGINE_ERR_FORMAT_REFUSED;
    if (is_converter_format(format)) return 0;  // the front end sets the format itself
    if (format > kLastFormat) return ENGINE_ERR_FORMAT_REFUSED;
    out->format = format == 0 ? kDefaultFormat : format;
  } else if (equals_i(key, "markup")) {
    if (equals_i(value, "auto")) out->markup = MarkupMode::kAuto;
    else if (equals_i(value, "ssml")) out->markup = MarkupMode::kSsml;
    else if (equals_i(value, "off")) out->markup = MarkupMode::kOff;
    else return ENGINE_ERR_BAD_VALUE;
  } else if (equals_i(key, "audio_root")) {
    // Relative folders would depend on the process's working folder.
    if (!value.empty() && value[0] != '/') return ENGINE_ERR_BAD_VALUE;
    out->audio_root.assign(value.data(), value.size());
    out->audio_root_given = true;
  }
  return 0;  // unknown keys are someone else's
}

}  // namespace

bool valid_voice_name(std::string_view s) {
  if (s.empty() || s.size() > kMaxVoiceName) return false;
  for (char c : s) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '_' && c != '+' &&
        c != ':')
      return false;
  }
  return true;
}

uint32_t parse_engine_params(std::string_view params, EngineSettings* out) {
  size_t i = 0;
  while (i < params.size()) {
    while (i < params.size() && is_separator(params[i])) ++i;
    size_t j = i;
    while (j < params.size() && !is_separator(params[j])) ++j;
    const std::string_view item = params.substr(i, j - i);
    i = j;
    const size_t eq = item.find('=');
    if (item.empty() || eq == std::string_view::npos) continue;
    if (uint32_t r = apply(item.substr(0, eq), item.substr(eq + 1), out)) return r;
  }
  return 0;
}

}  // namespace tavn::speech
