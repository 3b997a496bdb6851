#include "engines/speech/audio/amr_encoder.h"

#include <opencore-amrnb/interf_enc.h>
#include <vo-amrwbenc/enc_if.h>

#include <algorithm>
#include <new>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

constexpr size_t kNbFrame = 160, kWbFrame = 320;  // samples in 20 ms
constexpr int kWbMode = 8;                        // 23.85 kbit/s, the best AMR-WB carries
constexpr size_t kMaxFrameBytes = 64;             // 61 bytes at 23.85 kbit/s, 32 at 12.2

}  // namespace

AmrEncoder::~AmrEncoder() { release(); }

void AmrEncoder::release() {
  if (state_ != nullptr) {
    if (wideband_) {
      E_IF_exit(state_);
    } else {
      Encoder_Interface_exit(state_);
    }
  }
  state_ = nullptr;
  pending_.clear();
}

uint32_t AmrEncoder::start(bool wideband) {
  release();
  wideband_ = wideband;
  state_ = wideband ? E_IF_init() : Encoder_Interface_init(0);
  return state_ == nullptr ? ENGINE_ERR_CODEC : 0;
}

uint32_t AmrEncoder::encode_frame(const int16_t* frame, std::vector<uint8_t>* out) {
  uint8_t bytes[kMaxFrameBytes];
  const int got = wideband_ ? E_IF_encode(state_, kWbMode, frame, bytes, 0)
                            : Encoder_Interface_Encode(state_, MR122, frame, bytes, 0);
  if (got <= 0 || static_cast<size_t>(got) > kMaxFrameBytes) return ENGINE_ERR_CODEC;
  out->insert(out->end(), bytes, bytes + got);
  return 0;
}

uint32_t AmrEncoder::encode(const int16_t* samples, size_t count, std::vector<uint8_t>* out) {
  if (state_ == nullptr) return ENGINE_ERR_CODEC;
  const size_t frame = wideband_ ? kWbFrame : kNbFrame;
  const size_t old_size = out->size();
  try {
    out->reserve(old_size + (pending_.size() + count) / frame * kMaxFrameBytes);
    size_t at = 0;
    if (!pending_.empty()) {  // complete the frame left over from the last call
      const size_t take = std::min(frame - pending_.size(), count);
      pending_.insert(pending_.end(), samples, samples + take);
      at = take;
      if (pending_.size() < frame) return 0;
      if (uint32_t r = encode_frame(pending_.data(), out)) {
        out->resize(old_size);
        return r;
      }
      pending_.clear();
    }
    for (; count - at >= frame; at += frame) {
      if (uint32_t r = encode_frame(samples + at, out)) {
        out->resize(old_size);
        return r;
      }
    }
    pending_.assign(samples + at, samples + count);
  } catch (const std::bad_alloc&) {
    out->resize(old_size);
    return ENGINE_ERR_NO_MEMORY;
  }
  return 0;
}

uint32_t AmrEncoder::finish(std::vector<uint8_t>* out) {
  if (state_ == nullptr) return ENGINE_ERR_CODEC;
  uint32_t r = 0;
  try {
    if (!pending_.empty()) {
      pending_.resize(wideband_ ? kWbFrame : kNbFrame, 0);
      r = encode_frame(pending_.data(), out);
    }
  } catch (const std::bad_alloc&) {
    r = ENGINE_ERR_NO_MEMORY;
  }
  release();
  return r;
}

}  // namespace tavn::speech
