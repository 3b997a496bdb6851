#include "engines/speech/audio/mp3_encoder.h"

#include <lame/lame.h>

#include <mutex>
#include <new>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

// Samples per lame call, so the output buffer stays small.
constexpr size_t kChunk = 1u << 16;

// lame fills shared tables on its first set-up without a lock of its own.
std::mutex& setup_lock() {
  static std::mutex* mu = new std::mutex;
  return *mu;
}

}  // namespace

Mp3Encoder::~Mp3Encoder() { release(); }

void Mp3Encoder::release() {
  if (lame_ != nullptr) lame_close(lame_);
  lame_ = nullptr;
}

uint32_t Mp3Encoder::start(uint32_t sample_rate, uint32_t kbps) {
  release();
  std::lock_guard<std::mutex> lock(setup_lock());
  lame_ = lame_init();
  if (lame_ == nullptr) return ENGINE_ERR_CODEC;
  lame_set_num_channels(lame_, 1);
  lame_set_mode(lame_, MONO);
  lame_set_in_samplerate(lame_, static_cast<int>(sample_rate));
  lame_set_out_samplerate(lame_, static_cast<int>(sample_rate));
  lame_set_VBR(lame_, vbr_off);
  lame_set_brate(lame_, static_cast<int>(kbps));
  lame_set_bWriteVbrTag(lame_, 0);
  lame_set_quality(lame_, 5);
  if (lame_init_params(lame_) < 0) {
    release();
    return ENGINE_ERR_CODEC;
  }
  return 0;
}

uint32_t Mp3Encoder::encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  if (lame_ == nullptr) return ENGINE_ERR_CODEC;
  const size_t old_size = out->size();
  try {
    buffer_.resize(kChunk + kChunk / 4 + 7200);  // lame's own worst case for kChunk samples
    for (size_t at = 0; at < count; at += kChunk) {
      const int len = static_cast<int>(count - at < kChunk ? count - at : kChunk);
      const int got = lame_encode_buffer(lame_, samples + at, nullptr, len, buffer_.data(),
                                         static_cast<int>(buffer_.size()));
      if (got < 0) {
        out->resize(old_size);
        return ENGINE_ERR_CODEC;
      }
      out->insert(out->end(), buffer_.data(), buffer_.data() + got);
    }
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
  return 0;
}

uint32_t Mp3Encoder::finish(std::vector<uint8_t>* out) {
  if (lame_ == nullptr) return ENGINE_ERR_CODEC;
  try {
    buffer_.resize(7200);  // at least the 7200 bytes lame asks for a flush
    const int got = lame_encode_flush(lame_, buffer_.data(), static_cast<int>(buffer_.size()));
    if (got < 0) return ENGINE_ERR_CODEC;
    out->insert(out->end(), buffer_.data(), buffer_.data() + got);
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  release();
  return 0;
}

}  // namespace tavn::speech
