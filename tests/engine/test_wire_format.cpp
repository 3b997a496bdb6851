#include "engines/speech/remote/wire_format.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavn::speech::wire {
namespace {

std::string bytes(std::initializer_list<int> b) {
  std::string s;
  for (int v : b) s.push_back(static_cast<char>(v));
  return s;
}

// A request body with its fixed fields set by hand, for the refusals.
std::string raw_request(uint16_t version, uint16_t kind, uint32_t params_length, uint32_t text_length, size_t payload) {
  std::string s = "TVNQ";
  s += bytes({version & 0xff, version >> 8, kind & 0xff, kind >> 8, 4, 0, 0, 0});
  for (uint32_t v : {params_length, text_length})
    s += bytes({int(v & 0xff), int((v >> 8) & 0xff), int((v >> 16) & 0xff), int(v >> 24)});
  return s + std::string(payload, 'x');
}

TEST(WireFormat, RequestBytesAreLittleEndianInOrder) {
  std::string body = "prefix";
  ASSERT_TRUE(encode_request({RequestKind::kSpeak, 0x0102'0304, "v=en", "Hi."}, &body));
  EXPECT_EQ(body,
            "prefix" + std::string("TVNQ") + bytes({1, 0, 2, 0, 4, 3, 2, 1, 4, 0, 0, 0, 3, 0, 0, 0}) + "v=en" + "Hi.");
}

TEST(WireFormat, RequestsRoundTripAtTheirLimits) {
  const Request cases[] = {
      {RequestKind::kCheck, 0, "", ""},
      {RequestKind::kCheck, 30, std::string(kMaxWireParams, 'p'), ""},
      {RequestKind::kSpeak, 4, "voice=en", std::string(kMaxWireText, '\0')},
  };
  for (const Request& r : cases) {
    std::string body, why;
    ASSERT_TRUE(encode_request(r, &body));
    Request back;
    ASSERT_TRUE(decode_request(body, &back, &why)) << why;
    EXPECT_EQ(back.kind, r.kind);
    EXPECT_EQ(back.format, r.format);
    EXPECT_EQ(back.params, r.params);
    EXPECT_EQ(back.text, r.text);
  }
  std::string body;
  EXPECT_FALSE(encode_request({RequestKind::kSpeak, 4, std::string(kMaxWireParams + 1, 'p'), ""}, &body));
  EXPECT_FALSE(encode_request({RequestKind::kSpeak, 4, "", std::string(kMaxWireText + 1, 't')}, &body));
  EXPECT_TRUE(body.empty());
}

TEST(WireFormat, DecodeRefusesMalformedRequests) {
  const struct {
    std::string body;
    const char* reason;  // part of the reason given
  } cases[] = {
      {"", "no TVNQ"},
      {"TVNQ", "no TVNQ"},
      {"XVNQ" + raw_request(1, 2, 0, 0, 0).substr(4), "no TVNQ"},
      {raw_request(2, 2, 0, 0, 0), "wire version 2, this server speaks version 1"},
      {raw_request(0, 2, 0, 0, 0), "wire version 0"},
      {raw_request(1, 0, 0, 0, 0), "unknown request kind 0"},
      {raw_request(1, 3, 0, 0, 0), "unknown request kind 3"},
      {raw_request(1, 2, 128, 0, 128), "parameter string longer"},
      {raw_request(1, 2, 0, 65537, 65537), "text longer"},
      {raw_request(1, 2, 0xffffffff, 0xffffffff, 0), "parameter string longer"},
      {raw_request(1, 1, 0, 3, 3), "carries no text"},
      {raw_request(1, 2, 2, 3, 4), "disagree"},
      {raw_request(1, 2, 2, 3, 6), "disagree"},
  };
  for (const auto& c : cases) {
    Request r;
    std::string why;
    EXPECT_FALSE(decode_request(c.body, &r, &why)) << c.reason;
    EXPECT_NE(why.find(c.reason), std::string::npos) << why;
  }
}

Frame piece(uint32_t status, uint32_t begin, uint32_t end, std::vector<uint8_t> audio) {
  return {FrameType::kPiece, status, begin, end, 44, std::move(audio)};
}

std::string stream(const std::vector<Frame>& frames) {
  std::string s;
  encode_stream_header(&s);
  for (const Frame& f : frames) encode_frame(f, &s);
  return s;
}

bool same(const Frame& a, const Frame& b) {
  return a.type == b.type && a.code == b.code && a.sentence_begin == b.sentence_begin &&
         a.sentence_end == b.sentence_end && a.non_audio_bytes == b.non_audio_bytes && a.bytes == b.bytes;
}

TEST(WireFormat, FrameBytesAreLittleEndianInOrder) {
  std::string s;
  encode_stream_header(&s);
  encode_frame({FrameType::kError, 0x80660006, 1, 2, 3, {'n', 'o'}}, &s);
  EXPECT_EQ(s, "TVNP" + bytes({1, 0, 0, 0, 3, 0, 0, 0, 6, 0, 0x66, 0x80, 1, 0,   0,
                               0, 2, 0, 0, 0, 3, 0, 0, 0, 2, 0,    0,    0, 'n', 'o'}));
}

// Whatever the bytes' split into reads, the same frames come out, each as
// soon as its last byte arrives.
TEST(WireFormat, ReaderTakesFramesHoweverTheBytesArrive) {
  const std::vector<Frame> frames = {
      piece(1, 0, 0, std::vector<uint8_t>(44, 7)),
      piece(1, 0, 12, std::vector<uint8_t>(5000, 1)),
      piece(0, 13, 20, {}),
      {FrameType::kError, 0x80660013, 0, 0, 0, std::vector<uint8_t>(kMaxReason, 'r')},
      {FrameType::kEnd, 0, 0, 0, 0, {}},
  };
  const std::string s = stream(frames);
  for (size_t chunk : {size_t{1}, size_t{7}, size_t{24}, size_t{4096}, s.size()}) {
    FrameReader reader;
    std::vector<Frame> got;
    std::string why;
    for (size_t at = 0; at < s.size(); at += chunk) {
      reader.feed(s.data() + at, std::min(chunk, s.size() - at));
      Frame f;
      int r;
      while ((r = reader.next(&f, &why)) == 1) got.push_back(f);
      ASSERT_EQ(r, 0) << why;
    }
    ASSERT_EQ(got.size(), frames.size()) << chunk;
    for (size_t i = 0; i < frames.size(); ++i) EXPECT_TRUE(same(got[i], frames[i])) << i;
  }
}

TEST(WireFormat, ReaderRefusesMalformedStreams) {
  std::string good_header;
  encode_stream_header(&good_header);
  const auto frame_header = [&](uint32_t type, uint32_t length) {
    std::string s = good_header;
    encode_frame({static_cast<FrameType>(type), 0, 0, 0, 0, {}}, &s);
    s.replace(s.size() - 4, 4,
              bytes({int(length & 0xff), int((length >> 8) & 0xff), int((length >> 16) & 0xff), int(length >> 24)}));
    return s;
  };
  const struct {
    std::string bytes;
    const char* reason;
  } cases[] = {
      {"<", "no TVNP"},  // an HTML page fails on its first byte
      {"HTTP/1.1 200", "no TVNP"},
      {"TVNP" + bytes({2, 0, 0, 0}), "wire version 2, this client speaks version 1"},
      {frame_header(0, 0), "unknown frame type 0"},
      {frame_header(4, 0), "unknown frame type 4"},
      {frame_header(1, FrameReader::kMaxFrameBytes + 1), "piece of"},  // judged from the header
      {frame_header(1, 0xffffffff), "piece of"},
      {frame_header(3, kMaxReason + 1), "error reason of"},
      {frame_header(2, 1), "end frame with 1"},
  };
  for (const auto& c : cases) {
    FrameReader reader;
    reader.feed(c.bytes.data(), c.bytes.size());
    Frame f;
    std::string why;
    EXPECT_EQ(reader.next(&f, &why), -1) << c.reason;
    EXPECT_NE(why.find(c.reason), std::string::npos) << why;
    const std::string more = stream({piece(0, 0, 0, {})});
    reader.feed(more.data(), more.size());
    why.clear();
    EXPECT_EQ(reader.next(&f, &why), -1) << "a broken stream stays broken";
    EXPECT_NE(why.find(c.reason), std::string::npos) << why;
  }
}

TEST(WireFormat, ReaderWaitsOnPartialInput) {
  const std::string s = stream({piece(0, 0, 3, {1, 2, 3})});
  for (size_t length : {size_t{0}, size_t{3}, kStreamHeaderBytes, kStreamHeaderBytes + 23, s.size() - 1}) {
    FrameReader reader;
    reader.feed(s.data(), length);
    Frame f;
    std::string why;
    EXPECT_EQ(reader.next(&f, &why), 0) << length;
  }
}

}  // namespace
}  // namespace tavn::speech::wire
