#include "server/web/web_assets.h"

namespace tavn::server {

// In the source that embed_web.cmake writes.
extern const WebAsset kWebAssets[];
extern const size_t kWebAssetCount;

const WebAsset* find_web_asset(std::string_view path) {
  if (path == "/") path = "/index.html";
  for (size_t i = 0; i < kWebAssetCount; ++i) {
    if (path == kWebAssets[i].path) return &kWebAssets[i];
  }
  return nullptr;
}

}  // namespace tavn::server
