// A recording spliced into speech by a marked-up text (<audio src>): a
// WAVE, FLAC or Ogg file read with libsndfile, a block at a time, mixed down
// to mono 16-bit samples at the file's own rate.
//
// Files come from a folder the engine's operator names, but their contents
// are still outside input: only the three formats' magic bytes let a file
// reach libsndfile (whose other parsers, AIFF, MP3 and the rest, stay out of
// reach), the channel count and rate are checked, and at most
// kMaxSoundSeconds of a file are read, so a long file costs no more than a
// long sentence.
//
// One SoundFile is used by one thread at a time; distinct ones may run in
// parallel (libsndfile keeps its state in each open file).
#ifndef TAVN_ENGINES_SPEECH_AUDIO_SOUND_FILE_H_
#define TAVN_ENGINES_SPEECH_AUDIO_SOUND_FILE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

struct sf_private_tag;

namespace tavn::speech {

// Longest stretch of one file that is spliced in, in seconds; the rest of
// the file is left out.  The same bound as one sentence's speech.
constexpr size_t kMaxSoundSeconds = 300;

// Rates and channel counts a spliced file may have.
constexpr uint32_t kMinSoundRate = 4000, kMaxSoundRate = 192000;
constexpr int kMaxSoundChannels = 8;

class SoundFile {
 public:
  SoundFile() = default;
  ~SoundFile();
  SoundFile(const SoundFile&) = delete;
  SoundFile& operator=(const SoundFile&) = delete;

  // Takes `fd` (open for reading; closed here in every case, also on
  // failure) and reads its header.  True when it is a WAVE, FLAC or Ogg
  // (Vorbis, Opus, FLAC) recording that libsndfile can decode, with 1 to
  // kMaxSoundChannels channels at kMinSoundRate to kMaxSoundRate Hz.  A file
  // opened before is closed first.
  bool open(int fd);

  // The file's own rate in Hz; 0 when none is open.
  uint32_t sample_rate() const { return rate_; }

  // Reads the next at most `max` frames into `out` as mono samples (the
  // channels averaged) and returns how many; 0 at the end of the file, past
  // kMaxSoundSeconds, on a read error or when none is open.
  size_t read(int16_t* out, size_t max);

  // Closes the file, if one is open.
  void close();

 private:
  int fd_ = -1;
  sf_private_tag* file_ = nullptr;
  uint32_t rate_ = 0;
  int channels_ = 0;
  size_t left_ = 0;              // frames still allowed by kMaxSoundSeconds
  std::vector<int16_t> frames_;  // one block of interleaved frames
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_SOUND_FILE_H_
