// Helpers shared by the engine tests: driving the engine's TTS* operations,
// reading WAVE files and running commands.
#ifndef TAVN_TESTS_ENGINE_ENGINE_TEST_UTIL_H_
#define TAVN_TESTS_ENGINE_ENGINE_TEST_UTIL_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "synth/kavritts.h"

namespace engine_test {

// Connects with `params`; returns the handle, or 0 with the reason in *error.
inline uint32_t connect(const std::string& params, uint32_t* error = nullptr) {
  TTSConnectRecord r;
  std::memset(&r, 0, sizeof r);
  r.record_tag = 0x101;
  std::snprintf(r.params, sizeof r.params, "%s", params.c_str());
  const uint32_t h = TTSConnect(&r);
  if (error != nullptr) *error = r.error_code;
  return h;
}

struct Piece {
  uint32_t status = 0;
  uint16_t non_audio = 0;
  uint32_t begin = 0, end = 0;
  std::vector<uint8_t> bytes;
};

// Speaks `text` on `handle` and collects every piece, the first included.
// Returns the first non-zero engine result, or 0.
inline uint32_t speak(uint32_t handle, const std::string& text, std::vector<Piece>* pieces) {
  TTSSynthRecord rec;
  std::memset(&rec, 0, sizeof rec);
  rec.text = text.c_str();
  rec.text_length = static_cast<uint32_t>(text.size());
  uint32_t r = TTSSynthText(handle, &rec);
  while (r == 0) {
    Piece p;
    p.status = rec.status;
    p.non_audio = rec.non_audio_bytes;
    p.begin = rec.sentence_begin;
    p.end = rec.sentence_end;
    if (rec.audio_length != 0) p.bytes.assign(rec.audio, rec.audio + rec.audio_length);
    pieces->push_back(p);
    if (rec.status != 1) break;
    r = TTSFetchNext(handle, &rec);
  }
  return r;
}

inline std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

inline bool file_exists(const std::string& path) { return std::ifstream(path).good(); }

inline uint32_t get32(const uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24;
}
inline uint16_t get16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }

struct Wave {
  bool ok = false;
  uint16_t tag = 0, bits = 0;
  uint32_t rate = 0;
  size_t data_at = 0, data_bytes = 0;
  std::vector<uint8_t> bytes;
  double seconds() const { return rate == 0 ? 0 : data_bytes * 8.0 / (double(rate) * bits); }
};

// Reads a RIFF/WAVE file chunk by chunk; ok only when a fmt and a data chunk
// are found and the data chunk fits the file.
inline Wave read_wave(const std::string& path) {
  Wave w;
  w.bytes = read_file(path);
  const std::vector<uint8_t>& b = w.bytes;
  if (b.size() < 12 || std::memcmp(b.data(), "RIFF", 4) != 0 || std::memcmp(&b[8], "WAVE", 4) != 0)
    return w;
  bool fmt = false;
  for (size_t at = 12; at + 8 <= b.size();) {
    const uint32_t size = get32(&b[at + 4]);
    if (std::memcmp(&b[at], "fmt ", 4) == 0 && size >= 16 && at + 8 + size <= b.size()) {
      w.tag = get16(&b[at + 8]);
      w.rate = get32(&b[at + 12]);
      w.bits = get16(&b[at + 22]);
      fmt = true;
    } else if (std::memcmp(&b[at], "data", 4) == 0) {
      w.data_at = at + 8;
      w.data_bytes = size;
      w.ok = fmt && at + 8 + size <= b.size();
      return w;
    }
    at += 8 + size + (size & 1);
  }
  return w;
}

// Runs a shell command; returns its standard output, and its exit status
// in *status when given.
inline std::string run(const std::string& command, int* status = nullptr) {
  std::string out;
  FILE* p = popen(command.c_str(), "r");
  if (p == nullptr) return out;
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  const int s = pclose(p);
  if (status != nullptr) *status = s;
  return out;
}

// Single-quoted for the shell.
inline std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) {
    if (c == '\'') q += "'\\''";
    else q += c;
  }
  return q + "'";
}

}  // namespace engine_test

#endif  // TAVN_TESTS_ENGINE_ENGINE_TEST_UTIL_H_
