#include "server/api/audio_stream.h"

#include <algorithm>

namespace tavn::server {
namespace {

constexpr uint32_t kUnknownSize = 0xFFFFFFFFu;

void put32(std::string* s, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) (*s)[at + i] = static_cast<char>(v >> (8 * i));
}

uint32_t get32(const std::string& s, size_t at) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(s[at + i]);
  return v;
}

uint32_t clamp32(uint64_t v) { return v > kUnknownSize ? kUnknownSize : static_cast<uint32_t>(v); }

}  // namespace

bool set_wave_sizes(std::string* header, uint32_t riff_size, uint32_t data_size,
                    uint32_t fact_samples) {
  std::string& h = *header;
  if (h.size() < 20 || h.compare(0, 4, "RIFF") != 0 || h.compare(8, 4, "WAVE") != 0) return false;
  // Walk the chunks: the data chunk's header must be the last 8 bytes.
  for (size_t at = 12; at + 8 <= h.size();) {
    const uint32_t size = get32(h, at + 4);
    if (h.compare(at, 4, "data") == 0) {
      if (at + 8 != h.size()) return false;
      put32(&h, 4, riff_size);
      put32(&h, at + 4, data_size);
      return true;
    }
    if (h.compare(at, 4, "fact") == 0 && size >= 4 && at + 12 <= h.size()) {
      put32(&h, at + 8, fact_samples);
    }
    at += 8 + size + (size & 1);
  }
  return false;
}

size_t AudioStream::add_piece(const uint8_t* piece, size_t length, size_t non_audio_bytes,
                              std::string* body) {
  const size_t before = body->size();
  if (first_) {
    first_ = false;
    const size_t wave = std::min(wave_header_length(out_.row), length);
    header_.assign(reinterpret_cast<const char*>(piece), wave);
    if (!out_.raw) {
      body->append(reinterpret_cast<const char*>(piece), length);
      if (wave != 0) {
        std::string streaming = header_;
        if (set_wave_sizes(&streaming, kUnknownSize, kUnknownSize, 0)) {
          body->replace(before, wave, streaming);
        }
      }
    } else {
      body->append(reinterpret_cast<const char*>(piece) + wave, length - wave);
    }
    body_bytes_ += body->size() - before;
    return 0;
  }
  const size_t skip = std::min(non_audio_bytes, length);
  body->append(reinterpret_cast<const char*>(piece) + skip, length - skip);
  audio_bytes_ += length - skip;
  body_bytes_ += length - skip;
  return length - skip;
}

std::string AudioStream::final_header() const {
  if (out_.raw || header_.empty()) return "";
  std::string h = header_;
  // Block align (bytes per sample frame) from the format chunk.
  const uint32_t align =
      h.size() >= 34 ? (static_cast<uint8_t>(h[32]) | static_cast<uint8_t>(h[33]) << 8) : 1;
  const uint64_t riff = h.size() + audio_bytes_ - 8;
  if (!set_wave_sizes(&h, clamp32(riff), clamp32(audio_bytes_),
                      clamp32(audio_bytes_ / std::max<uint32_t>(align, 1)))) {
    return "";
  }
  return h;
}

}  // namespace tavn::server
