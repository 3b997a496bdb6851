// The file of one prompt cache entry, "<32 hex digits>.entry":
//
//   offset  0  "TVNC"
//           4  u32 format version (1)
//           8  u32 key length K
//          12  u32 meta length M
//          16  u64 body length B
//          24  u64 XXH3-64 of the K + B + M bytes that follow
//          32  key material (K bytes), body (B bytes), meta (M bytes)
//
// Integers little-endian.  The meta comes last because it is known only
// when the body is complete (the marks of a spoken text).  A file whose
// length is not 32 + K + B + M, or whose checksum differs, is corrupt.
//
// Pure functions: safe from any thread.
#ifndef TAVN_SERVER_CACHE_CACHE_ENTRY_H_
#define TAVN_SERVER_CACHE_CACHE_ENTRY_H_

#include <cstddef>
#include <cstdint>

namespace tavn::server {

constexpr size_t kEntryHeaderBytes = 32;
constexpr uint32_t kEntryVersion = 1;
constexpr uint32_t kMaxKeyBytes = 1u << 20;  // a key is a request: far below this
constexpr uint32_t kMaxMetaBytes = 16u << 20;

struct EntryHeader {
  uint32_t key_length = 0;
  uint32_t meta_length = 0;
  uint64_t body_length = 0;
  uint64_t checksum = 0;

  uint64_t file_length() const {
    return kEntryHeaderBytes + key_length + body_length + meta_length;
  }
};

void encode_entry_header(const EntryHeader& header, uint8_t out[kEntryHeaderBytes]);

// False for another magic or version, or lengths over their limits.
bool decode_entry_header(const uint8_t in[kEntryHeaderBytes], EntryHeader* out);

}  // namespace tavn::server

#endif  // TAVN_SERVER_CACHE_CACHE_ENTRY_H_
