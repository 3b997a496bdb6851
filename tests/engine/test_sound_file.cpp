// Recordings named by <audio src>: which names the audio folder opens, and
// what libsndfile reads from the files it opens.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engines/speech/audio/sound_file.h"
#include "engines/speech/audio/sound_folder.h"
#include "tests/support/test_support.h"

namespace tavn::speech {
namespace {

// Writes interleaved 16-bit `samples` as a `format` file (SF_FORMAT_WAV | ...).
void write_sound(const std::string& path, int format, int rate, int channels, const std::vector<int16_t>& samples) {
  SF_INFO info{};
  info.samplerate = rate;
  info.channels = channels;
  info.format = format;
  SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(f, nullptr) << path << ": " << sf_strerror(nullptr);
  EXPECT_EQ(sf_write_short(f, samples.data(), static_cast<sf_count_t>(samples.size())),
            static_cast<sf_count_t>(samples.size()));
  sf_close(f);
}

std::vector<int16_t> ramp(size_t n) {
  std::vector<int16_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<int16_t>((i * 37) % 20000 - 10000);
  return v;
}

struct Read {
  bool opened = false;
  uint32_t rate = 0;
  std::vector<int16_t> samples;
};

Read read_all(const SoundFolder& folder, const std::string& src) {
  Read r;
  SoundFile file;
  r.opened = file.open(folder.open(src));
  r.rate = file.sample_rate();
  int16_t block[1000];
  for (size_t n; (n = file.read(block, 1000)) > 0;) r.samples.insert(r.samples.end(), block, block + n);
  return r;
}

TEST(SoundFile, TheFolderOpensOnlyRecordingsInsideIt) {
  const Temp_Dir tmp;
  const std::string root = tmp.file("prompts");
  ASSERT_EQ(mkdir(root.c_str(), 0755), 0);
  ASSERT_EQ(mkdir((root + "/sub").c_str(), 0755), 0);
  const std::vector<int16_t> mono = ramp(16000);
  std::vector<int16_t> stereo;  // the channels average to the ramp
  for (int16_t v : ramp(4410))
    stereo.insert(stereo.end(), {static_cast<int16_t>(v + 99), static_cast<int16_t>(v - 99)});
  write_sound(root + "/clip.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, mono);
  write_sound(root + "/sub/deep.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, mono);
  write_sound(root + "/stereo.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, 2, stereo);
  write_sound(root + "/tone.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 22050, 1, ramp(22050));
  write_sound(root + "/tone.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16000, 1, mono);
  write_sound(root + "/long.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 4000, 1, std::vector<int16_t>(4000 * 301));
  write_sound(tmp.file("outside.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, mono);
  tmp.write("prompts/text.wav", "RIFF....WAVE but not a recording at all, just words");
  ASSERT_EQ(symlink("clip.wav", (root + "/inner.wav").c_str()), 0);
  ASSERT_EQ(symlink("../outside.wav", (root + "/out.wav").c_str()), 0);
  ASSERT_EQ(symlink(tmp.path().c_str(), (root + "/up").c_str()), 0);

  const SoundFolder folder(root);
  const struct {
    std::string src;
    bool opened;
    uint32_t rate = 0;
    size_t frames = 0;
  } cases[] = {
      {"clip.wav", true, 16000, 16000},
      {root + "/clip.wav", true, 16000, 16000},  // absolute, inside
      {"./sub//deep.wav", true, 16000, 16000},
      {"inner.wav", true, 16000, 16000},  // a link that stays inside
      {"stereo.flac", true, 44100, 4410},
      {"tone.ogg", true, 22050, 22050},
      {"long.wav", true, 4000, kMaxSoundSeconds * 4000},  // cut after kMaxSoundSeconds
      {"out.wav", false},                                 // a link out of the folder
      {"up/outside.wav", false},                          // a linked folder out of it
      {"../outside.wav", false},
      {"sub/../clip.wav", false},  // ".." is refused even where it stays inside
      {tmp.file("outside.wav"), false},
      {"file://" + root + "/clip.wav", false},
      {"http://localhost/clip.wav", false},
      {"", false},
      {"missing.wav", false},
      {"sub", false},        // a folder
      {"text.wav", false},   // not a recording
      {"tone.aiff", false},  // a recording, but not WAVE, FLAC or Ogg
      {"clip.wav/", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.src);
    const Read r = read_all(folder, c.src);
    ASSERT_EQ(r.opened, c.opened) << c.src;
    EXPECT_EQ(r.rate, c.rate) << c.src;
    EXPECT_EQ(r.samples.size(), c.frames) << c.src;
  }
  EXPECT_EQ(read_all(folder, "clip.wav").samples, mono);  // every sample as written
  EXPECT_EQ(read_all(folder, "stereo.flac").samples, ramp(4410));
  for (const std::string& none : {std::string(), tmp.file("no-such-folder"), std::string("prompts")}) {
    EXPECT_FALSE(read_all(SoundFolder(none), "clip.wav").opened) << none;
  }
}

}  // namespace
}  // namespace tavn::speech
