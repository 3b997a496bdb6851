#include "engines/speech/markup_speaker.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

using markup::Segment;

constexpr size_t kNone = SIZE_MAX;
constexpr size_t kRecordingBlock = 4096;  // frames read from a file at a time

}  // namespace

void MarkupSpeaker::start(markup::MarkupDocument doc, const std::string& voice,
                          const Prosody& prosody, uint32_t format_rate, const SoundFolder* folder) {
  doc_ = std::move(doc);
  prosody_ = prosody;
  format_rate_ = format_rate;
  folder_ = folder;
  voices_ = VoiceChooser(voice);
  recording_open_ = false;
  recording_played_ = false;
  sound_.close();
  sentence_ = 0;
  enter_sentence();
}

// Moves to the first sentence from sentence_ on that has a run to speak.
void MarkupSpeaker::enter_sentence() {
  for (; !done(); ++sentence_) {
    const markup::MarkupSentence& s = doc_.sentences[sentence_];
    markup::sentence_runs(s, sentence_ > 0, &runs_);
    if (runs_.empty()) continue;
    run_ = 0;
    segment_ = runs_[0].first;
    first_speech_ = last_speech_ = kNone;
    for (size_t i = 0; i < s.segments.size(); ++i) {
      if (s.segments[i].kind != Segment::kSpeak) continue;
      if (first_speech_ == kNone) first_speech_ = i;
      last_speech_ = i;
    }
    return;
  }
}

uint32_t MarkupSpeaker::next(AudioEncoder* encoder, std::vector<uint8_t>* piece, size_t* begin,
                             size_t* end) {
  if (done()) return 0;
  const markup::SentenceRun& run = runs_[run_];
  const std::vector<Segment>& segments = doc_.sentences[sentence_].segments;
  if (!run.carried) {
    last_begin_ = run.begin;
    last_end_ = run.end;
  }
  *begin = last_begin_;
  *end = last_end_;
  piece_seconds_ = 0;
  while (segment_ < run.last && piece_seconds_ < kPieceSeconds) {
    bool finished = true;
    if (uint32_t r = render(segments[segment_], segment_, encoder, piece, &finished)) return r;
    if (finished) ++segment_;
  }
  if (segment_ < run.last) return 0;  // the run goes on in the next piece
  if (++run_ < runs_.size()) {
    segment_ = runs_[run_].first;
  } else {
    ++sentence_;
    enter_sentence();
  }
  return 0;
}

uint32_t MarkupSpeaker::render(const Segment& segment, size_t index, AudioEncoder* encoder,
                               std::vector<uint8_t>* piece, bool* finished) {
  switch (segment.kind) {
    case Segment::kSpeak:
      if (segment.audio_fallback && recording_played_) return 0;
      return speak(segment, index, encoder, piece);
    case Segment::kBreak: {
      const uint64_t samples = (uint64_t{segment.break_ms} * format_rate_ + 500) / 1000;
      piece_seconds_ += segment.break_ms / 1000.0;
      return encoder->encode_silence(static_cast<size_t>(samples), piece);
    }
    case Segment::kAudio:
      if (!recording_open_) {
        recording_played_ = folder_ != nullptr && sound_.open(folder_->open(segment.name));
        if (!recording_played_) return 0;  // its fallback content speaks instead
        if (uint32_t r = encoder->begin_stream(sound_.sample_rate(), Resampling::kBest)) return r;
        recording_open_ = true;
      }
      return stream_recording(encoder, piece, finished);
    case Segment::kMark: return 0;  // marks start runs; they have no audio
  }
  return 0;
}

uint32_t MarkupSpeaker::speak(const Segment& segment, size_t index, AudioEncoder* encoder,
                              std::vector<uint8_t>* piece) {
  const std::string& voice = voices_.choose(segment.voice, segment.language);
  Backend& backend = Backend::ForVoice(voice);
  std::string_view text = segment.text;
  if (segment.phonemes) {
    text = backend.PhonemeText(segment.text, &phoneme_text_) ? std::string_view(phoneme_text_)
                                                             : std::string_view(segment.words);
  }
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) return 0;
  Prosody prosody = markup::apply_prosody(prosody_, segment.prosody);
  prosody.sentence_start = index == first_speech_;
  prosody.sentence_end = index == last_speech_;
  if (uint32_t r = backend.Speak(voice, text, prosody, &samples_)) return r;
  if (segment.prosody.silent) std::fill(samples_.begin(), samples_.end(), int16_t{0});
  const uint32_t rate = backend.SampleRate(voice);
  if (rate == 0) return ENGINE_ERR_NOT_INITIALIZED;
  piece_seconds_ += static_cast<double>(samples_.size()) / rate;
  return encoder->encode(samples_.data(), samples_.size(), rate, backend.resampling(), piece);
}

// The next blocks of the open recording, until the piece is full or the file
// ends (then the resampler's last samples too).
uint32_t MarkupSpeaker::stream_recording(AudioEncoder* encoder, std::vector<uint8_t>* piece,
                                         bool* finished) {
  if (samples_.size() < kRecordingBlock) samples_.resize(kRecordingBlock);
  const uint32_t rate = sound_.sample_rate();
  for (;;) {
    const size_t n = sound_.read(samples_.data(), kRecordingBlock);
    if (n == 0) break;
    if (uint32_t r = encoder->stream(samples_.data(), n, piece)) {
      recording_open_ = false;
      return r;
    }
    piece_seconds_ += static_cast<double>(n) / rate;
    if (piece_seconds_ >= kPieceSeconds) {
      *finished = false;
      return 0;
    }
  }
  recording_open_ = false;
  sound_.close();
  return encoder->end_stream(piece);
}

}  // namespace tavn::speech
