// The speech engine's wire format, both readers of outside bytes.  Input:
// one byte choosing the read sizes, then the bytes.
//  - decode_request: an accepted body is within its limits and encodes back
//    to the very same bytes;
//  - FrameReader, fed in reads of varying size: every frame is within its
//    limits, the frames encode back to the bytes they were read from (but
//    for the stream header's reserved field), and a refusal stays a refusal.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engines/speech/remote/wire_format.h"
#include "fuzz/fuzz_tmp.h"

using namespace tavn::speech::wire;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t step = 1 + data[0] % 32;
  const std::string_view in(reinterpret_cast<const char*>(data + 1), size - 1);

  Request request;
  std::string why;
  if (decode_request(in, &request, &why)) {
    check(request.params.size() <= kMaxWireParams && request.text.size() <= kMaxWireText);
    std::string again;
    check(encode_request(request, &again) && again == in);
  } else {
    check(!why.empty());
  }

  FrameReader reader;
  std::string taken;  // the frames read, encoded again
  bool header = false, broken = false;
  for (size_t at = 0; at < in.size() && !broken; at += step) {
    const size_t n = in.size() - at < step ? in.size() - at : step;
    reader.feed(in.data() + at, n);
    Frame f;
    int r;
    while ((r = reader.next(&f, &why)) == 1) {
      if (!header) encode_stream_header(&taken);
      header = true;
      check(f.type == FrameType::kPiece || f.type == FrameType::kEnd ||
            f.type == FrameType::kError);
      check(f.bytes.size() <= FrameReader::kMaxFrameBytes);
      if (f.type == FrameType::kError) check(f.bytes.size() <= kMaxReason);
      if (f.type == FrameType::kEnd) check(f.bytes.empty());
      encode_frame(f, &taken);
    }
    if (r < 0) {
      broken = true;
      check(!why.empty() && reader.next(&f, &why) == -1);
    }
  }
  if (header) taken.replace(6, 2, in.substr(6, 2));  // the reserved field is not read
  check(in.substr(0, taken.size()) == taken);
  return 0;
}
