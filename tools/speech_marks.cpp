#include "tools/speech_marks.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "synth/audio_format.h"

namespace tavn::say {
namespace {

constexpr char kTimeOpen[] = "{\n    Time:\"";
constexpr char kTimeClose[] = "s\",\n    SentenseText :\"";
constexpr char kNextRecord[] = "\"\n},\n{\n    Time:\"";
constexpr char kLastRecord[] = "\"\n}]\n}";

bool starts_at(const std::string& s, size_t pos, const char* what) {
  return s.compare(pos, std::strlen(what), what) == 0;
}

// The bytes of `s` with each invalid UTF-8 sequence replaced by U+FFFD.
std::string valid_utf8(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size();) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    size_t n = c < 0x80                       ? 1
               : (c >> 5) == 0x6 && c >= 0xc2 ? 2
               : (c >> 4) == 0xe              ? 3
               : c >= 0xf0 && c <= 0xf4       ? 4
                                              : 0;
    for (size_t k = 1; k < n; ++k) {
      if (i + k >= s.size() || (static_cast<unsigned char>(s[i + k]) & 0xc0) != 0x80) n = 0;
    }
    if (n == 0) {
      out += "\xef\xbf\xbd";
      ++i;
    } else {
      out.append(s, i, n);
      i += n;
    }
  }
  return out;
}

std::string json_string(const std::string& s) {
  std::string out = "\"";
  for (char ch : valid_utf8(s)) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (ch == '"' || ch == '\\') {
      out += '\\';
      out += ch;
    } else if (c < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out += esc;
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

// A cue's text on one line: blank runs (line breaks included) become one
// blank, so a blank line cannot end the cue early.
std::string cue_text(const std::string& s, bool vtt) {
  std::string out;
  bool blank = false;
  for (char ch : s) {
    if (std::isspace(static_cast<unsigned char>(ch))) {
      blank = !out.empty();
      continue;
    }
    if (blank) out += ' ';
    blank = false;
    if (vtt && ch == '&') out += "&amp;";
    else if (vtt && ch == '<') out += "&lt;";
    else if (vtt && ch == '>') out += "&gt;";
    else out += ch;
  }
  return out;
}

std::string clock(int64_t ms, char decimal) {
  char buf[48];
  std::snprintf(buf, sizeof buf, "%02lld:%02lld:%02lld%c%03lld",
                static_cast<long long>(ms / 3600000), static_cast<long long>(ms / 60000 % 60),
                static_cast<long long>(ms / 1000 % 60), decimal, static_cast<long long>(ms % 1000));
  return buf;
}

uint32_t le32(const std::string& s, size_t pos) {
  uint32_t v = 0;
  for (int k = 3; k >= 0; --k)
    v = v << 8 | static_cast<unsigned char>(s[pos + static_cast<size_t>(k)]);
  return v;
}

}  // namespace

bool read_synch_sentences(const std::string& synch, const std::string& media_url,
                          const std::string& absolute_path, std::vector<SynchSentence>* out) {
  const std::string head =
      "{\nMediaUrl:\"" + media_url + "\",\nAbsolutePath:\"" + absolute_path + "\",\nSentenses : [";
  if (synch.compare(0, head.size(), head) != 0) return false;
  size_t pos = head.size();
  if (synch.compare(pos, std::string::npos, "]\n}") == 0) return true;  // no sentence
  for (bool first = true;; first = false) {
    // Every record but the first starts with ",\n"; so does the first when
    // its sentence does not start the text (leading blanks, markup).
    if (starts_at(synch, pos, ",\n")) pos += 2;
    else if (!first) return false;
    if (!starts_at(synch, pos, kTimeOpen)) return false;
    pos += std::strlen(kTimeOpen);
    const size_t time_end = synch.find(kTimeClose, pos);
    if (time_end == std::string::npos) return false;
    const std::string time = synch.substr(pos, time_end - pos);
    pos = time_end + std::strlen(kTimeClose);
    const size_t next = synch.find(kNextRecord, pos);
    const size_t tail = synch.size() - std::strlen(kLastRecord);
    const size_t text_end = next != std::string::npos ? next : tail;
    if (next == std::string::npos && (synch.size() < pos + std::strlen(kLastRecord) ||
                                      synch.compare(tail, std::string::npos, kLastRecord) != 0))
      return false;
    out->push_back({std::strtod(time.c_str(), nullptr), synch.substr(pos, text_end - pos)});
    if (next == std::string::npos) return true;
    pos = next + 3;  // at ",\n{"
  }
}

bool times_are_finite(const std::vector<SynchSentence>& sentences) {
  for (const SynchSentence& s : sentences) {
    if (!std::isfinite(s.seconds)) return false;
  }
  return true;
}

int64_t mark_time_ms(double seconds) {
  // Kept within 0 to kMaxMarkSeconds, so that the milliseconds fit.
  const double finite = std::isfinite(seconds) ? seconds : 0.0;
  return static_cast<int64_t>(
      std::round(std::min(std::max(finite, 0.0), kMaxMarkSeconds) * 1000.0));
}

void set_mark_ends(std::vector<SpeechMark>* marks, int64_t audio_end_ms) {
  int64_t next = audio_end_ms;
  for (size_t i = marks->size(); i-- > 0;) {
    SpeechMark& m = (*marks)[i];
    if (m.ssml) {
      m.end_ms = m.time_ms;
      continue;
    }
    m.end_ms = next > m.time_ms ? next : m.time_ms;
    next = m.time_ms;
  }
}

std::vector<SpeechMark> make_marks(const std::vector<SynchSentence>& sentences,
                                   const std::string& text, int64_t audio_end_ms) {
  std::vector<SpeechMark> marks;
  size_t cursor = 0;
  for (const SynchSentence& s : sentences) {
    SpeechMark m{mark_time_ms(s.seconds), 0, cursor, cursor, s.text};
    const size_t at = s.text.empty() ? std::string::npos : text.find(s.text, cursor);
    if (at != std::string::npos) {
      m.start = at;
      m.end = cursor = at + s.text.size();
    }
    marks.push_back(m);
  }
  set_mark_ends(&marks, audio_end_ms);
  return marks;
}

bool parse_marks_format(const std::string& name, MarksFormat* out) {
  std::string lower;
  for (char c : name) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "json") *out = MarksFormat::kJson;
  else if (lower == "srt") *out = MarksFormat::kSrt;
  else if (lower == "vtt") *out = MarksFormat::kVtt;
  else return false;
  return true;
}

std::string format_marks(const std::vector<SpeechMark>& marks, MarksFormat format) {
  std::string out = format == MarksFormat::kVtt ? "WEBVTT\n\n" : "";
  size_t cues = 0;
  for (const SpeechMark& m : marks) {
    if (format == MarksFormat::kJson) {
      out += "{\"time\":" + std::to_string(m.time_ms) + ",\"type\":\"" +
             (m.ssml ? "ssml" : "sentence") + "\",\"start\":" + std::to_string(m.start) +
             ",\"end\":" + std::to_string(m.end) + ",\"value\":" + json_string(m.value) + "}\n";
    } else if (!m.ssml) {
      const bool vtt = format == MarksFormat::kVtt;
      const char decimal = vtt ? '.' : ',';
      if (!vtt) out += std::to_string(++cues) + "\n";
      out += clock(m.time_ms, decimal) + " --> " + clock(m.end_ms, decimal) + "\n" +
             cue_text(valid_utf8(m.value), vtt) + "\n\n";
    }
  }
  return out;
}

int64_t audio_length_ms(const std::string& path, uint32_t format) {
  std::ifstream f(path, std::ios::binary);
  if (!f) return -1;
  std::string head(4096, '\0');
  f.read(&head[0], static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<size_t>(f.gcount()));
  f.clear();
  f.seekg(0, std::ios::end);
  const int64_t size = static_cast<int64_t>(f.tellg());
  if (size < 0) return -1;
  if (head.size() >= 12 && head.compare(0, 4, "RIFF") == 0 && head.compare(8, 4, "WAVE") == 0) {
    uint32_t byte_rate = 0;
    for (size_t pos = 12; pos + 8 <= head.size();) {
      const uint32_t length = le32(head, pos + 4);
      if (head.compare(pos, 4, "fmt ") == 0 && pos + 16 <= head.size())
        byte_rate = le32(head, pos + 16);
      if (head.compare(pos, 4, "data") == 0) {
        if (byte_rate == 0) return -1;
        const int64_t in_file = size - static_cast<int64_t>(pos + 8);
        const int64_t bytes = length < in_file ? static_cast<int64_t>(length) : in_file;
        return (bytes * 1000 + byte_rate / 2) / byte_rate;  // rounded to the nearest millisecond
      }
      if (length >= head.size()) return -1;  // "data" lies past the first block
      pos += 8 + static_cast<size_t>(length) + (length & 1u);
    }
    return -1;
  }
  const uint32_t bits_per_second = audio_bit_rate(format);
  if (bits_per_second == 0) return -1;
  return (size * 8000 + bits_per_second / 2) / bits_per_second;
}

}  // namespace tavn::say
