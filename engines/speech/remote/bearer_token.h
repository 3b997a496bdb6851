// The bearer token the engine shows speech servers that require one, and
// the token file both the engine and tavnd read.
//
// The token never travels in the engine parameter string (which the front
// end logs and the server receives); the parameter string or the
// environment names a file holding it, readable by the speaking process
// only: token_file=PATH, else the environment variable TAVN_TOKEN_FILE.
// The file's first line is the token (a trailing CR and blanks are
// dropped): 1 to kMaxTokenBytes visible ASCII characters.
//
// Thread-safe (reads the environment and the file only).
#ifndef TAVN_ENGINES_SPEECH_REMOTE_BEARER_TOKEN_H_
#define TAVN_ENGINES_SPEECH_REMOTE_BEARER_TOKEN_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavn::speech {

constexpr size_t kMaxTokenBytes = 1024;
constexpr char kTokenFileVariable[] = "TAVN_TOKEN_FILE";

enum class TokenFile { kRead, kUnreadable, kNoToken, kBadToken };

// Reads the token on the first line of the file at `path` into `*out`:
// kRead; otherwise `*out` is empty and the result says why (kBadToken: a
// blank or a character outside visible ASCII inside it, or longer than
// kMaxTokenBytes).  errno is kept from the failed open for kUnreadable.
TokenFile read_token_file(const std::string& path, std::string* out);

// Reads the token from `token_file`, or when that is empty from the file
// TAVN_TOKEN_FILE names, into `*out`.  Neither given: 0 and `*out` empty.
// ENGINE_ERR_BAD_VALUE when the file cannot be read or holds no valid
// token (then `*out` is empty).
uint32_t read_bearer_token(const std::string& token_file, std::string* out);

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_REMOTE_BEARER_TOKEN_H_
