// The files of the listening page (server/web/), compiled into tavnd at
// build time by embed_web.cmake, so the server needs no file at run time.
//
// Constant data: safe from any thread.
#ifndef TAVN_SERVER_WEB_WEB_ASSETS_H_
#define TAVN_SERVER_WEB_WEB_ASSETS_H_

#include <cstddef>
#include <string_view>

namespace tavn::server {

struct WebAsset {
  const char* path;        // "/index.html"
  const char* media_type;  // with "; charset=utf-8" for text
  const unsigned char* data;
  size_t size;
  const char* etag;  // strong entity tag of the bytes, quotes included

  std::string_view body() const { return {reinterpret_cast<const char*>(data), size}; }
};

// Answer headers for the page: its scripts, styles and audio come only from
// tavnd itself.
constexpr char kPageSecurityPolicy[] =
    "default-src 'self'; img-src 'self' data:; media-src 'self' blob: data:; "
    "object-src 'none'; base-uri 'none'; frame-ancestors 'none'";

// The file served at `path`: "/" gives "/index.html"; nullptr for a path
// that is not one of the page's files (the query string must be removed
// first).
const WebAsset* find_web_asset(std::string_view path);

}  // namespace tavn::server

#endif  // TAVN_SERVER_WEB_WEB_ASSETS_H_
