#include "engines/speech/audio/sound_folder.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>

namespace tavn::speech {
namespace {

// The resolved form of `path`, or "" when it does not exist.
std::string resolved(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  if (real == nullptr) return "";
  std::string out(real);
  free(real);
  return out;
}

// "scheme:" before any '/' (RFC 3986: a letter, then letters, digits, '+',
// '-', '.').
bool has_scheme(std::string_view src) {
  const size_t colon = src.find(':');
  if (colon == std::string_view::npos || colon == 0 || src.find('/') < colon) return false;
  for (size_t i = 0; i < colon; ++i) {
    const unsigned char c = static_cast<unsigned char>(src[i]);
    if (!std::isalpha(c) && (i == 0 || (!std::isdigit(c) && c != '+' && c != '-' && c != '.')))
      return false;
  }
  return true;
}

bool has_parent_step(std::string_view src) {
  for (size_t begin = 0; begin <= src.size();) {
    size_t end = src.find('/', begin);
    if (end == std::string_view::npos) end = src.size();
    if (src.substr(begin, end - begin) == "..") return true;
    begin = end + 1;
  }
  return false;
}

}  // namespace

SoundFolder::SoundFolder(std::string_view root) {
  if (root.empty() || root[0] != '/') return;
  const std::string real = resolved(std::string(root));
  if (!real.empty()) prefix_ = real.back() == '/' ? real : real + '/';
}

int SoundFolder::open(std::string_view src) const {
  if (prefix_.empty() || src.empty() || src.size() > PATH_MAX ||
      src.find('\0') != std::string_view::npos || has_scheme(src) || has_parent_step(src))
    return -1;
  const std::string path = src[0] == '/' ? std::string(src) : prefix_ + std::string(src);
  const std::string real = resolved(path);
  if (real.size() <= prefix_.size() || real.compare(0, prefix_.size(), prefix_) != 0) return -1;
  const int fd = ::open(real.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return -1;
  struct stat st;
  if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace tavn::speech
