#include "server/request_params.h"

#include <cctype>

namespace tavn::server {
namespace {

constexpr std::string_view kAudioRootKey = "audio_root";

bool is_separator(char c) {
  return c == ',' || c == ';' || std::isspace(static_cast<unsigned char>(c));
}

bool is_audio_root_item(std::string_view item) {
  const size_t eq = item.find('=');
  if (eq != kAudioRootKey.size()) return false;
  for (size_t i = 0; i < eq; ++i) {
    if (std::tolower(static_cast<unsigned char>(item[i])) != kAudioRootKey[i]) return false;
  }
  return true;
}

}  // namespace

std::string server_side_params(std::string_view params, std::string_view audio_root) {
  params = params.substr(0, params.find('\0'));
  std::string out;
  size_t i = 0;
  while (i < params.size()) {
    size_t j = i;
    while (j < params.size() && !is_separator(params[j])) ++j;
    const std::string_view item = params.substr(i, j - i);
    // Keep the separator after a kept item, so the others read as before.
    if (!is_audio_root_item(item)) out.append(params.substr(i, j + 1 - i));
    i = j + 1;
  }
  if (!audio_root.empty()) {
    out += ",audio_root=";
    out.append(audio_root);
  }
  return out;
}

}  // namespace tavn::server
