// The bearer token every route requires when tavnd has --token-file.
//
// Pure functions (and one file read): safe from any thread.
#ifndef TAVN_SERVER_BEARER_TOKEN_H_
#define TAVN_SERVER_BEARER_TOKEN_H_

#include <string>
#include <string_view>

namespace tavn::server {

// The token: the file's first line, read as the engine reads its token file
// (speech::read_token_file).  False with a message in `*why` otherwise.
bool read_token_file(const std::string& path, std::string* token, std::string* why);

// True when `authorization` (an Authorization header's value) is "Bearer "
// and exactly `token`.  Takes the same time for every header of a given
// token, wherever the first difference lies.
bool bearer_matches(std::string_view authorization, std::string_view token);

}  // namespace tavn::server

#endif  // TAVN_SERVER_BEARER_TOKEN_H_
