#include "engines/speech/audio/sound_file.h"

#include <sndfile.h>
#include <unistd.h>

#include <cstring>
#include <new>

namespace tavn::speech {
namespace {

// The first bytes of the three formats spliced in.
bool known_magic(int fd) {
  unsigned char head[12] = {};
  if (pread(fd, head, sizeof head, 0) != static_cast<ssize_t>(sizeof head)) return false;
  return (std::memcmp(head, "RIFF", 4) == 0 && std::memcmp(head + 8, "WAVE", 4) == 0) ||
         std::memcmp(head, "fLaC", 4) == 0 || std::memcmp(head, "OggS", 4) == 0;
}

bool known_container(int format) {
  switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_FLAC:
    case SF_FORMAT_OGG: return true;
    default: return false;
  }
}

}  // namespace

SoundFile::~SoundFile() { close(); }

void SoundFile::close() {
  if (file_ != nullptr) sf_close(file_);
  if (fd_ >= 0) ::close(fd_);
  file_ = nullptr;
  fd_ = -1;
  rate_ = 0;
  channels_ = 0;
  left_ = 0;
}

bool SoundFile::open(int fd) {
  close();
  if (fd < 0) return false;
  fd_ = fd;  // closed here, after libsndfile is done with it
  if (!known_magic(fd)) {
    close();
    return false;
  }
  SF_INFO info;
  std::memset(&info, 0, sizeof info);
  file_ = sf_open_fd(fd, SFM_READ, &info, SF_FALSE);
  if (file_ == nullptr || !known_container(info.format) || info.channels < 1 ||
      info.channels > kMaxSoundChannels || info.samplerate < static_cast<int>(kMinSoundRate) ||
      info.samplerate > static_cast<int>(kMaxSoundRate)) {
    close();
    return false;
  }
  // Floating-point files hold values around +-1.0: read at full 16-bit scale.
  sf_command(file_, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);
  rate_ = static_cast<uint32_t>(info.samplerate);
  channels_ = info.channels;
  left_ = kMaxSoundSeconds * rate_;
  return true;
}

size_t SoundFile::read(int16_t* out, size_t max) {
  if (file_ == nullptr || max == 0 || left_ == 0) return 0;
  if (max > left_) max = left_;
  const size_t channels = static_cast<size_t>(channels_);
  if (channels == 1) {
    const sf_count_t n = sf_readf_short(file_, out, static_cast<sf_count_t>(max));
    const size_t got = n > 0 ? static_cast<size_t>(n) : 0;
    left_ -= got;
    return got;
  }
  try {
    if (frames_.size() < max * channels) frames_.resize(max * channels);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  const sf_count_t n = sf_readf_short(file_, frames_.data(), static_cast<sf_count_t>(max));
  const size_t got = n > 0 ? static_cast<size_t>(n) : 0;
  for (size_t i = 0; i < got; ++i) {
    int32_t sum = 0;
    for (size_t c = 0; c < channels; ++c) sum += frames_[i * channels + c];
    out[i] = static_cast<int16_t>(sum / static_cast<int32_t>(channels));
  }
  left_ -= got;
  return got;
}

}  // namespace tavn::speech
