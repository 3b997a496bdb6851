#include "engines/speech/connection.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "engines/speech/audio/wave_header.h"
#include "engines/speech/engine_codes.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/markup_fragment.h"
#include "engines/speech/voice_choice.h"

namespace tavn::speech {
namespace {

std::string audio_root(const EngineSettings& settings) {
  if (settings.audio_root_given) return settings.audio_root;
  const char* root = std::getenv(kAudioRootVariable);
  return root == nullptr ? "" : root;
}

}  // namespace

Connection::Connection(const EngineSettings& settings)
    : settings_(settings),
      prosody_{settings.rate, settings.pitch, settings.volume},
      backend_(Backend::ForVoice(settings.voice)),
      folder_(audio_root(settings)) {
  if (!lookup_format(settings.format, &fmt_)) lookup_format(kDefaultFormat, &fmt_);
}

bool Connection::is_markup() const {
  switch (settings_.markup) {
    case MarkupMode::kSsml: return true;
    case MarkupMode::kOff: return false;
    default: return markup::looks_like_markup(text_);
  }
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
  markup_ = is_markup();
  if (markup_) {
    markup::MarkupDocument doc;
    markup::MarkupError error;
    if (uint32_t r =
            markup::read_markup_or_fragment(text_, voice_language(settings_.voice), &doc, &error))
      return r;
    speaker_.start(std::move(doc), settings_.voice, prosody_, fmt_.sample_rate, &folder_);
    running_ = !speaker_.done();
  } else {
    have_pending_ = next_sentence(text_, 0, &pending_);
    running_ = have_pending_;
  }
  if (!running_) {
    if (uint32_t r = encoder_.finish(&piece_)) return r;
  }
  fill(record, running_ ? 1 : 0, Sentence{}, piece_.size());
  return 0;
}

uint32_t Connection::next(TTSSynthRecord* record) {
  if (!running_) return ENGINE_ERR_NO_REQUEST;
  running_ = false;  // until this sentence succeeds
  if (markup_) return next_markup(record);
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

uint32_t Connection::next_markup(TTSSynthRecord* record) {
  piece_.resize(fmt_.header_length);
  Sentence offsets;
  uint32_t r = 0;
  try {
    r = speaker_.next(&encoder_, &piece_, &offsets.begin, &offsets.end);
  } catch (const std::bad_alloc&) {
    r = ENGINE_ERR_NO_MEMORY;
  }
  if (r == 0 && speaker_.done()) r = encoder_.finish(&piece_);
  if (r != 0) return r;
  running_ = !speaker_.done();
  fill(record, running_ ? 1 : 0, offsets, fmt_.header_length);
  return 0;
}

}  // namespace tavn::speech
