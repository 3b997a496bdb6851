#include "server/cache/cache_entry.h"

#include <cstring>

namespace tavn::server {
namespace {

constexpr char kMagic[4] = {'T', 'V', 'N', 'C'};

void put(uint8_t* out, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(value >> (8 * i));
}

uint64_t get(const uint8_t* in, int bytes) {
  uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | in[i];
  return value;
}

}  // namespace

void encode_entry_header(const EntryHeader& h, uint8_t out[kEntryHeaderBytes]) {
  std::memcpy(out, kMagic, 4);
  put(out + 4, kEntryVersion, 4);
  put(out + 8, h.key_length, 4);
  put(out + 12, h.meta_length, 4);
  put(out + 16, h.body_length, 8);
  put(out + 24, h.checksum, 8);
}

bool decode_entry_header(const uint8_t in[kEntryHeaderBytes], EntryHeader* out) {
  if (std::memcmp(in, kMagic, 4) != 0 || get(in + 4, 4) != kEntryVersion) return false;
  EntryHeader h;
  h.key_length = static_cast<uint32_t>(get(in + 8, 4));
  h.meta_length = static_cast<uint32_t>(get(in + 12, 4));
  h.body_length = get(in + 16, 8);
  h.checksum = get(in + 24, 8);
  if (h.key_length > kMaxKeyBytes || h.meta_length > kMaxMetaBytes || h.body_length > (1ull << 48))
    return false;
  *out = h;
  return true;
}

}  // namespace tavn::server
