#include "server/bearer_token.h"

#include <cerrno>
#include <cstring>

#include "engines/speech/remote/bearer_token.h"

namespace tavn::server {

bool read_token_file(const std::string& path, std::string* token, std::string* why) {
  errno = 0;
  switch (speech::read_token_file(path, token)) {
    case speech::TokenFile::kRead: return true;
    case speech::TokenFile::kUnreadable:
      *why = "cannot read the token file " + path +
             (errno ? std::string(": ") + std::strerror(errno) : "");
      return false;
    case speech::TokenFile::kNoToken:
      *why = "the token file " + path + " holds no token on its first line";
      return false;
    case speech::TokenFile::kBadToken: break;
  }
  *why = "the token in " + path + " holds a blank or a character outside visible ASCII, or is " +
         "longer than " + std::to_string(speech::kMaxTokenBytes) + " bytes";
  return false;
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
