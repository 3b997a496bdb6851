#include "server/cache/cache_key.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <nlohmann/json.hpp>

namespace tavn::server {
namespace {

// The opaque part of an entity tag, quotes included: `"abc"` of `W/"abc"`.
std::string_view opaque_tag(std::string_view tag) {
  if (tag.substr(0, 2) == "W/") tag.remove_prefix(2);
  return tag;
}

bool is_blank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

std::string CacheKey::hex() const {
  static const char kDigits[] = "0123456789abcdef";
  std::string s(32, '0');
  for (int i = 0; i < 16; ++i) {
    s[15 - i] = kDigits[(high >> (4 * i)) & 15];
    s[31 - i] = kDigits[(low >> (4 * i)) & 15];
  }
  return s;
}

std::string CacheKey::etag() const { return "W/\"" + hex() + "\""; }

CacheKey make_cache_key(std::string material) {
  CacheKey key;
  const XXH128_hash_t h = XXH3_128bits(material.data(), material.size());
  key.material = std::move(material);
  key.high = h.high64;
  key.low = h.low64;
  return key;
}

CacheKey speech_cache_key(const SpeechRequest& r, std::string_view engine_version) {
  // A JSON array: every field delimited, so no two requests give one text.
  const nlohmann::json fields = {"tavn-prompt/1", engine_version, r.voice,      r.rate, r.pitch,
                                 r.volume,        r.output.row,   r.output.raw, r.text};
  return make_cache_key(fields.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

bool if_none_match(std::string_view header, std::string_view etag) {
  const std::string_view want = opaque_tag(etag);
  size_t i = 0;
  while (i < header.size()) {
    while (i < header.size() && (is_blank(header[i]) || header[i] == ',')) ++i;
    if (i == header.size()) break;
    if (header[i] == '*') return true;
    const size_t start = i;
    if (header.compare(i, 2, "W/") == 0) i += 2;
    if (i >= header.size() || header[i] != '"') return false;
    const size_t close = header.find('"', i + 1);
    if (close == std::string_view::npos) return false;
    if (opaque_tag(header.substr(start, close + 1 - start)) == want) return true;
    i = close + 1;
  }
  return false;
}

}  // namespace tavn::server
