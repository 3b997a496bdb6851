// What names an answer in the prompt cache: the key material (every byte of
// the request that changes the audio) and its 128-bit XXH3 hash, which
// names the entry's file and its ETag.  The material itself is stored in
// the entry and compared on every read, so two requests whose hashes
// collide never share an entry.
//
// Plain values and pure functions: safe from any thread.
#ifndef TAVN_SERVER_CACHE_CACHE_KEY_H_
#define TAVN_SERVER_CACHE_CACHE_KEY_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "server/api/speech_request.h"

namespace tavn::server {

struct CacheKey {
  std::string material;
  uint64_t high = 0, low = 0;  // XXH3-128 of material

  // 32 lowercase hexadecimal digits, high half first.
  std::string hex() const;
  // The weak entity tag W/"<hex>": equal requests give equal tags, but the
  // audio of a re-rendered entry may differ in its bytes (libespeak-ng's
  // prosody carries over from the request before; flite adds noise).
  std::string etag() const;
};

CacheKey make_cache_key(std::string material);

// The key of a speaking request: text, voice, rate, pitch, volume, format
// row, header kept or not, and `engine_version` (a string that changes
// whenever the engine or its voices may sound different, so an upgrade
// never serves audio of the old one).  "model" and "marks" do not change
// the audio and are left out: both routes share entries.
CacheKey speech_cache_key(const SpeechRequest& request, std::string_view engine_version);

// True when the If-None-Match header value `header` matches `etag` (as made
// above) by the weak comparison: "*", or a comma-separated list of entity
// tags, one of which has the same opaque tag with or without "W/".  A
// malformed list matches nothing after its fault.
bool if_none_match(std::string_view header, std::string_view etag);

}  // namespace tavn::server

#endif  // TAVN_SERVER_CACHE_CACHE_KEY_H_
