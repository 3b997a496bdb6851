#include "engines/speech/audio/wave_header.h"

#include <cstring>

namespace tavn::speech {
namespace {

void put16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

void put32(uint8_t* p, uint32_t v) {
  put16(p, v & 0xffffu);
  put16(p + 2, v >> 16);
}

}  // namespace

size_t write_wave_header(const OutputFormat& fmt, uint8_t out[kMaxHeaderLength]) {
  const size_t length = fmt.header_length;
  if (length != 44 && length != 58) return 0;
  std::memset(out, 0, length);
  const uint32_t block_align = fmt.bits / 8;
  const size_t fmt_size = length == 44 ? 16 : 18;  // 18: with cbSize = 0

  std::memcpy(out, "RIFF", 4);
  put32(out + 4, static_cast<uint32_t>(length - 8));
  std::memcpy(out + 8, "WAVEfmt ", 8);
  put32(out + 16, static_cast<uint32_t>(fmt_size));
  put16(out + 20, fmt.wave_tag);
  put16(out + 22, 1);  // mono
  put32(out + 24, fmt.sample_rate);
  put32(out + 28, fmt.sample_rate * block_align);
  put16(out + 32, block_align);
  put16(out + 34, fmt.bits);
  uint8_t* p = out + 20 + fmt_size;  // cbSize, when present, stays 0
  if (length == 58) {
    std::memcpy(p, "fact", 4);
    put32(p + 4, 4);
    put32(p + 8, 0);  // sample count
    p += 12;
  }
  std::memcpy(p, "data", 4);
  put32(p + 4, 0);
  return length;
}

}  // namespace tavn::speech
