#include "server/api/speech_marks.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "synth/audio_format.h"

namespace tavn::server {

double audio_byte_rate(uint32_t row) {
  if (row >= 1 && row <= kLastTimedFormat) return audio_bit_rate(row) / 8.0;
  switch (row) {
    case 23:
    case 24:
    case 25: return 32 * 50;  // AMR-NB 12.2 kbit/s: a 32-byte frame per 20 ms
    case 26: return 61 * 50;  // AMR-WB 23.85 kbit/s: 61 bytes per 20 ms
    case 27:
    case 28: return 16000 / 8;  // MP3 at constant bit rates
    case 29: return 24000 / 8;
    case 30: return 32000 / 8;
    default: return 0;
  }
}

uint64_t SpeechMarks::now_ms() const {
  return byte_rate_ > 0 ? static_cast<uint64_t>(std::llround(audio_bytes_ * 1000.0 / byte_rate_))
                        : 0;
}

void SpeechMarks::add_sentence(uint32_t begin, uint32_t end, uint64_t audio_bytes) {
  if (begin < end && end <= text_.size()) {
    marks_.push_back({now_ms(), true, begin, end, std::string(text_.substr(begin, end - begin))});
  }
  audio_bytes_ += audio_bytes;
}

void SpeechMarks::add_mark(std::string_view name, uint32_t offset) {
  marks_.push_back({now_ms(), false, offset, offset, std::string(name)});
}

std::string SpeechMarks::json() const {
  nlohmann::json marks = nlohmann::json::array();
  for (const Mark& m : marks_) {
    marks.push_back({{"time", m.time_ms},
                     {"type", m.sentence ? "sentence" : "ssml"},
                     {"start", m.begin},
                     {"end", m.end},
                     {"value", m.value}});
  }
  const nlohmann::json doc = {{"duration_ms", now_ms()}, {"marks", std::move(marks)}};
  return doc.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string marks_answer(std::string_view stored, std::string_view audio_url,
                         std::string_view media_type) {
  nlohmann::json doc = nlohmann::json::parse(stored, nullptr, false);
  if (!doc.is_object()) doc = {{"duration_ms", 0}, {"marks", nlohmann::json::array()}};
  doc["audio_url"] = audio_url;
  doc["media_type"] = media_type;
  return doc.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace tavn::server
