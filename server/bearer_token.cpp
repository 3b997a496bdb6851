#include "server/bearer_token.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace tavn::server {

bool read_token_file(const std::string& path, std::string* token, std::string* why) {
  errno = 0;
  std::ifstream in(path);
  std::string line;
  if (!in || !std::getline(in, line)) {
    *why = "cannot read the token file " + path +
           (errno ? std::string(": ") + std::strerror(errno) : "");
    return false;
  }
  const size_t b = line.find_first_not_of(" \t\r");
  const size_t e = line.find_last_not_of(" \t\r");
  line = b == std::string::npos ? "" : line.substr(b, e - b + 1);
  for (char c : line) {
    if (c <= ' ' || c > '~') {
      *why = "the token in " + path + " holds a blank or a character outside visible ASCII";
      return false;
    }
  }
  if (line.empty()) {
    *why = "the token file " + path + " holds no token on its first line";
    return false;
  }
  *token = line;
  return true;
}

bool bearer_matches(std::string_view authorization, std::string_view token) {
  constexpr std::string_view kScheme = "Bearer ";
  if (authorization.substr(0, kScheme.size()) != kScheme) return false;
  const std::string_view given = authorization.substr(kScheme.size());
  // Every byte of the token is compared, whatever the given one holds.
  unsigned diff = given.size() != token.size() ? 1 : 0;
  for (size_t i = 0; i < token.size(); ++i) {
    const unsigned char g = i < given.size() ? given[i] : 0;
    diff |= g ^ static_cast<unsigned char>(token[i]);
  }
  return diff == 0;
}

}  // namespace tavn::server
