#include "engines/speech/connection.h"

#include <cstring>
#include <new>

#include "engines/speech/audio/wave_header.h"
#include "engines/speech/engine_codes.h"

namespace tavn::speech {

Connection::Connection(const EngineSettings& settings)
    : settings_(settings),
      prosody_{settings.rate, settings.pitch, settings.volume},
      backend_(Backend::ForVoice(settings.voice)) {
  if (!lookup_format(settings.format, &fmt_)) lookup_format(kDefaultFormat, &fmt_);
}

uint32_t Connection::set_format(uint32_t format) {
  if (running_) return ENGINE_ERR_BUSY;
  OutputFormat fmt;
  if (!lookup_format(format, &fmt)) return ENGINE_ERR_FORMAT_REFUSED;
  fmt_ = fmt;
  settings_.format = fmt.format;
  return 0;
}

void Connection::fill(TTSSynthRecord* record, uint32_t status, const Sentence& sentence,
                      size_t non_audio) {
  record->status = status;
  record->audio_length = static_cast<uint32_t>(piece_.size());
  record->audio = piece_.empty() ? nullptr : piece_.data();
  record->non_audio_bytes = static_cast<uint16_t>(non_audio);
  record->sentence_begin = static_cast<uint32_t>(sentence.begin);
  record->sentence_end = static_cast<uint32_t>(sentence.end);
}

uint32_t Connection::start(TTSSynthRecord* record) {
  running_ = false;
  have_pending_ = false;
  if (record->text == nullptr && record->text_length != 0) return ENGINE_ERR_NULL_ARGUMENT;
  const uint32_t rate = Backend::Running() ? backend_.SampleRate(settings_.voice) : 0;
  if (rate == 0) return ENGINE_ERR_NOT_INITIALIZED;
  if (uint32_t r = encoder_.start(fmt_, rate, backend_.resampling())) return r;
  try {
    text_.assign(record->text == nullptr ? "" : record->text, record->text_length);
    uint8_t header[kMaxHeaderLength];
    const size_t header_length = write_wave_header(fmt_, header);
    piece_.assign(header, header + header_length);
    piece_.insert(piece_.end(), fmt_.magic, fmt_.magic + std::strlen(fmt_.magic));
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  have_pending_ = next_sentence(text_, 0, &pending_);
  running_ = have_pending_;
  if (!running_) {
    if (uint32_t r = encoder_.finish(&piece_)) return r;
  }
  fill(record, running_ ? 1 : 0, Sentence{}, piece_.size());
  return 0;
}

uint32_t Connection::next(TTSSynthRecord* record) {
  if (!running_) return ENGINE_ERR_NO_REQUEST;
  running_ = false;  // until this sentence succeeds
  const Sentence sentence = pending_;
  const std::string_view text(text_);
  uint32_t r =
      backend_.Speak(settings_.voice, text.substr(sentence.begin, sentence.end - sentence.begin),
                     prosody_, &samples_);
  if (r != 0) return r;
  piece_.resize(fmt_.header_length);  // keep the header, drop the last sentence
  r = encoder_.encode(samples_.data(), samples_.size(), &piece_);
  if (r != 0) return r;
  have_pending_ = next_sentence(text, sentence.end, &pending_);
  if (!have_pending_) {
    r = encoder_.finish(&piece_);  // the last piece carries what the coder still holds
    if (r != 0) return r;
  }
  running_ = have_pending_;
  fill(record, running_ ? 1 : 0, sentence, fmt_.header_length);
  return 0;
}

}  // namespace tavn::speech
