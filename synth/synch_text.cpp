#include "synth/synch_text.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "synth/audio_format.h"
#include "synth/front_log.h"
#include "synth/result_codes.h"

// Exported: keeps its name outside the front end's namespace.
int write_synch(extra_param_f* rec, const char* text) {
  // A record without a buffer, or whose counters are already negative, can
  // take nothing: refusing beats writing before the caller's buffer.
  bool usable = rec->buffer && *rec->buffer && rec->used >= 0 && rec->capacity >= 0;
  int pos = rec->used;
  size_t len = std::strlen(text);
  long long used = static_cast<long long>(pos) + static_cast<long long>(len);
  rec->used = used > INT_MAX ? INT_MAX : static_cast<int>(used);  // stored before the check
  if (!usable || used > rec->capacity) {
    TAVN_LOG_ERROR("The buffer size for saving synch information  is too small");
    if (rec->buffer && *rec->buffer) (*rec->buffer)[0] = '\0';
    return -1;
  }
  std::memcpy(*rec->buffer + pos, text, len + 1);
  return 0;
}

namespace tavn::synth {

namespace {

const char kHead[] = "{\nMediaUrl:\"%s\",\nAbsolutePath:\"%s\",\nSentenses : [";
const char kFirstSentence[] = "{\n    Time:\"%6fs\",\n    SentenseText :\"%s\"\n}";
const char kNextSentence[] = ",\n{\n    Time:\"%6fs\",\n    SentenseText :\"%s\"\n}";
const char kTail[] = "]\n}";

constexpr size_t kHeadScratch = 512;

struct FreeDeleter {
  void operator()(char* p) const { std::free(p); }
};
using Scratch = std::unique_ptr<char, FreeDeleter>;

}  // namespace

uint32_t synch_head(extra_param_f* rec) {
  char scratch[kHeadScratch];
  int n = std::snprintf(scratch, sizeof scratch, kHead, rec->media_url.c_str(),
                        rec->absolute_path.c_str());
  if (n >= 0 && static_cast<size_t>(n) < sizeof scratch)
    return write_synch(rec, scratch) == 0 ? 0 : ERR_SYNCH_BUFFER;
  // A media URL and path too long for the scratch still give the whole head.
  std::string head(static_cast<size_t>(n) + 1, '\0');
  std::snprintf(&head[0], head.size(), kHead, rec->media_url.c_str(), rec->absolute_path.c_str());
  return write_synch(rec, head.c_str()) == 0 ? 0 : ERR_SYNCH_BUFFER;
}

uint32_t synch_tail(extra_param_f* rec) {
  return write_synch(rec, kTail) == 0 ? 0 : ERR_SYNCH_BUFFER;
}

SynchSentences::SynchSentences(extra_param_f* rec, uint32_t fmt, const char* text,
                               uint32_t text_length)
    : rec_(rec), bit_rate_(audio_bit_rate(fmt)), text_(text), text_length_(text_length) {}

uint32_t SynchSentences::step(const TTSSynthRecord& piece) {
  if (piece.sentence_begin != last_begin_) {
    last_begin_ = piece.sentence_begin;
    if (uint32_t r = append_sentence(piece)) return r;
  }
  audio_total_ += piece.audio_length;
  non_audio_total_ += piece.non_audio_bytes;
  return 0;
}

uint32_t SynchSentences::append_sentence(const TTSSynthRecord& piece) {
  // An end before the begin gives an empty sentence text.
  int32_t n = static_cast<int32_t>(piece.sentence_end - piece.sentence_begin);
  if (n < 0) n = 0;
  // Offsets outside the text are cut to it: the copy never reads past it.
  uint32_t begin = piece.sentence_begin;
  uint32_t available = begin < text_length_ ? text_length_ - begin : 0;
  uint32_t copy = static_cast<uint32_t>(n) < available ? static_cast<uint32_t>(n) : available;

  Scratch sentence(static_cast<char*>(std::calloc(static_cast<size_t>(n) + 1, 1)));
  size_t line_size = static_cast<size_t>(n) + 100;
  Scratch line(static_cast<char*>(std::calloc(line_size, 1)));
  if (!sentence || !line) {
    TAVN_LOG_ERROR("Cannot alloc buffer for temp Synchro information");
    return ERR_NO_MEMORY;
  }
  if (copy) std::memcpy(sentence.get(), text_ + begin, copy);

  if (begin == 0) {
    std::snprintf(line.get(), line_size, kFirstSentence, 0.0, sentence.get());
  } else {
    uint32_t bytes = audio_total_ - non_audio_total_;
    uint32_t bits = bytes * 8u;  // wraps once bytes reach 2^29
    // A zero bit rate (formats 0 and 23 up) prints the C library's inf/nan.
    long double seconds = static_cast<long double>(bits) / static_cast<long double>(bit_rate_);
    std::snprintf(line.get(), line_size, kNextSentence, static_cast<double>(seconds),
                  sentence.get());
  }
  sentence.reset();
  return write_synch(rec_, line.get()) == 0 ? 0 : ERR_SYNCH_BUFFER;
}

}  // namespace tavn::synth
