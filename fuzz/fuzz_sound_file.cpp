// Recordings named by <audio src>.  Input: a src value (up to the first line
// break) and the bytes of a file (the rest), written as "clip" into a
// scratch audio folder that also holds a link out of it.  Checks that
// whatever the folder opens lies inside it, and that the file's bytes, read
// as a recording, give samples within the reader's limits.
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <string>

#include "engines/speech/audio/sound_file.h"
#include "engines/speech/audio/sound_folder.h"
#include "fuzz/fuzz_tmp.h"

namespace {

using tavn::speech::SoundFile;
using tavn::speech::SoundFolder;

// The audio folder: dir/root, with dir/outside and root/out -> ../outside.
const std::string& root() {
  static const std::string path = [] {
    const std::string dir = fuzz_tmp_make();
    const std::string r = dir + "root";
    mkdir(r.c_str(), 0700);
    std::ofstream(dir + "outside") << "RIFF";
    symlink("../outside", (r + "/out").c_str());
    char* real = realpath(r.c_str(), nullptr);
    check(real != nullptr);
    const std::string resolved = real;
    free(real);
    return resolved;
  }();
  return path;
}

// Every sample a recording gives, counted; aborts past the reader's limits.
void read_through(int fd) {
  SoundFile file;
  if (!file.open(fd)) return;
  check(file.sample_rate() >= tavn::speech::kMinSoundRate &&
        file.sample_rate() <= tavn::speech::kMaxSoundRate);
  int16_t block[4096];
  size_t total = 0;
  for (size_t n; (n = file.read(block, 4096)) > 0;) {
    check(n <= 4096);
    total += n;
  }
  check(total <= tavn::speech::kMaxSoundSeconds * file.sample_rate());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto [src, bytes] = split_input(data, size);
  const std::string clip = root() + "/clip";
  std::ofstream(clip, std::ios::binary | std::ios::trunc) << bytes;

  const SoundFolder folder(root());
  const int fd = folder.open(src);
  if (fd >= 0) {
    char link[64], where[PATH_MAX + 1];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t n = readlink(link, where, PATH_MAX);
    check(n > 0);
    where[n] = '\0';
    check(std::string(where).rfind(root() + "/", 0) == 0);
    close(fd);
  }
  read_through(open(clip.c_str(), O_RDONLY));
  return 0;
}
