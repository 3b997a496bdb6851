#include "synth/synth_to_file.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "synth/front_log.h"
#include "synth/result_codes.h"
#include "synth/synch_text.h"
#include "synth/tavn.hpp"

namespace tavn::synth {

namespace {

constexpr uint32_t kMinAudioBytes = 200;

// Streams pieces into the file, keeping the engine's first header only.
class AudioFile {
 public:
  explicit AudioFile(FILE* f) : f_(f) {}

  void write_piece(const TTSSynthRecord& piece) {
    if (!piece.audio) return;  // a length without bytes: nothing to write
    recognise_header(piece);
    if (written_ == 0) {  // nothing in the file yet: the piece goes whole
      std::fwrite(piece.audio, 1, piece.audio_length, f_);
      written_ += piece.audio_length;
      return;
    }
    // A later piece shorter than the header holds no sound: nothing is written.
    if (piece.audio_length <= static_cast<uint32_t>(header_length_)) return;
    uint32_t n = piece.audio_length - static_cast<uint32_t>(header_length_);
    std::fwrite(piece.audio + header_length_, 1, n, f_);
    written_ += n;
  }

  // Sets the RIFF chunk size, the data chunk size and, in the 58-byte
  // layout, the fact chunk's count (the data byte count, whatever the format).
  void patch_header() {
    if (header_length_ <= 0) return;
    uint32_t data = written_ - static_cast<uint32_t>(header_length_);
    put32(4, written_ - 8);
    put32(header_length_ - 4, data);
    if (header_length_ == 58) put32(46, data);
  }

  uint32_t written() const { return written_; }

 private:
  // Runs on every piece: an engine may send a header with each one.
  void recognise_header(const TTSSynthRecord& piece) {
    const uint8_t* a = piece.audio;
    uint32_t n = piece.audio_length;
    if (n < 4 || std::memcmp(a, "RIFF", 4) != 0) return;
    if (n >= 40 && std::memcmp(a + 36, "data", 4) == 0) {
      header_length_ = 44;
    } else if (n >= 54 && std::memcmp(a + 50, "data", 4) == 0) {
      header_length_ = 58;
    }
  }

  void put32(long offset, uint32_t v) {
    uint8_t b[4] = {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8),
                    static_cast<uint8_t>(v >> 16), static_cast<uint8_t>(v >> 24)};
    std::fseek(f_, offset, SEEK_SET);
    std::fwrite(b, 1, sizeof b, f_);
  }

  FILE* f_;
  int header_length_ = 0;
  uint32_t written_ = 0;
};

}  // namespace

uint32_t TTSSynth2File(uint32_t handle, TTSSynthRecord* record, const char* path, void* synch) {
  auto* rec = static_cast<extra_param_f*>(synch);
  const int synch_mode = rec ? rec->synch_mode : 3;
  const bool want_synch = synch_mode == 0;

  uint32_t fmt = 0;  // stays 0 (bit rate 0) when the engine stores nothing
  uint32_t size = sizeof fmt;
  TTSGetParam(handle, TTS_PARAM_AUDIO_FORMAT, &fmt, &size);

  FILE* f = std::fopen(path, "wb");
  if (!f) {
    TAVN_LOG_ERROR("TTSSynth2File() cannot open %s output file.", path);
    return ERR_OPEN_FILE;
  }
  // On the synch failures below the file is left unpatched, holding every
  // byte written so far, but the stream is flushed and closed at once: a
  // stream kept open would cost a descriptor per failure and, flushed at
  // exit, overwrite whatever file has this name by then.
  if (want_synch && synch_head(rec) != 0) {
    std::fclose(f);
    return ERR_SYNCH_BUFFER;
  }

  uint32_t r = TTSSynthText(handle, record);
  if (r != 0) {
    TAVN_LOG_ERROR("TTSSynthText() return error, errcode = 0x%08x.", r);
    std::fclose(f);
    return r;
  }

  AudioFile out(f);
  std::optional<SynchSentences> sentences;
  if (want_synch) sentences.emplace(rec, fmt, record->text, record->text_length);

  // A piece is written in the pass after the one that fetched it, so the
  // sentence step sees each fetched piece before its audio is written.
  while (record->status == 1) {
    if (record->audio_length != 0) out.write_piece(*record);
    uint32_t f_result = TTSFetchNext(handle, record);
    if (f_result != 0) {
      TAVN_LOG_ERROR("TTSFetchNext() return error, errcode = 0x%08x.", f_result);
      std::fclose(f);
      return f_result;
    }
    if (sentences) {
      if (uint32_t s = sentences->step(*record)) {
        std::fclose(f);
        return s;
      }
    }
  }
  if (want_synch && synch_tail(rec) != 0) {
    std::fclose(f);
    return ERR_SYNCH_BUFFER;
  }
  if (record->audio_length != 0) out.write_piece(*record);
  out.patch_header();
  std::fclose(f);

  if (out.written() < kMinAudioBytes && !want_synch) return ERR_OUTPUT_TOO_SHORT;
  return r;
}

}  // namespace tavn::synth
