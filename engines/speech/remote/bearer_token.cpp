#include "engines/speech/remote/bearer_token.h"

#include <cstdio>
#include <cstdlib>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {

TokenFile read_token_file(const std::string& path, std::string* out) {
  out->clear();
  std::FILE* f = std::fopen(path.c_str(), "rbe");
  if (f == nullptr) return TokenFile::kUnreadable;
  // One byte more than a token and its line end may take tells a line that
  // is too long from one that fits.
  char buffer[kMaxTokenBytes + 3];
  const size_t n = std::fread(buffer, 1, sizeof buffer, f);
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (failed) return TokenFile::kUnreadable;
  size_t end = 0;
  while (end < n && buffer[end] != '\n') ++end;
  while (end > 0 && (buffer[end - 1] == '\r' || buffer[end - 1] == ' ' || buffer[end - 1] == '\t'))
    --end;
  if (end == 0) return TokenFile::kNoToken;
  if (end > kMaxTokenBytes) return TokenFile::kBadToken;
  for (size_t i = 0; i < end; ++i) {
    if (buffer[i] < 0x21 || buffer[i] > 0x7e) return TokenFile::kBadToken;
  }
  out->assign(buffer, end);
  return TokenFile::kRead;
}

uint32_t read_bearer_token(const std::string& token_file, std::string* out) {
  out->clear();
  std::string path = token_file;
  if (path.empty()) {
    const char* env = std::getenv(kTokenFileVariable);
    if (env == nullptr || *env == '\0') return 0;
    path = env;
  }
  return read_token_file(path, out) == TokenFile::kRead ? 0 : ENGINE_ERR_BAD_VALUE;
}

}  // namespace tavn::speech
