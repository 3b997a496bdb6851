// tavn-say: speaks a text or a text file into a WAVE file through libtavn
// and the speech engine, optionally with the synch text.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "engines/speech/engine_codes.h"
#include "engines/speech/engine_params.h"
#include "engines/speech/markup/markup_document.h"
#include "engines/speech/markup/markup_fragment.h"
#include "engines/speech/voice_choice.h"
#include "engines/speech/voice_list.h"
#include "log/large_file.h"
#include "synth/audio_format.h"
#include "synth/kavritts.h"
#include "synth/tavn.h"
#include "tools/markup_marks.h"
#include "tools/result_names.h"
#include "tools/say_options.h"
#include "tools/speech_marks.h"
#include "tools/temp_files.h"

namespace tavn::say {
namespace {

constexpr int kExitFailed = 1, kExitUsage = 2;
constexpr size_t kMaxTextBytes = 65536;  // the front end reads no more

void print_help() {
  std::printf(
      "Usage: tavn-say [options] TEXT...\n"
      "       tavn-say [options] -f FILE\n"
      "       COMMAND | tavn-say [options] [-f -]\n"
      "Speaks TEXT (the words joined by blanks), the contents of FILE or standard input\n"
      "(UTF-8, at most 65536 bytes are used) into a WAVE file, through libtavn and the\n"
      "speech engine.  With no TEXT, standard input is read unless it is a terminal.\n"
      "\n"
      "Options:\n"
      "  -o, --out FILE      audio file to write (default tavn-say.wav); - for standard output\n"
      "  -f, --file FILE     speak the contents of FILE; - for standard input\n"
      "      --format F      audio format: a number or a name from the table below\n"
      "      --voice NAME    voice: espeak-ng's, e.g. en, en-us, en+f3, de, cmn (default en),\n"
      "                      or flite's: flite:slt, flite:awb, flite:rms, flite:kal16, flite:kal\n"
      "      --voices        list every installed voice: name, language, sample rate\n"
      "      --rate N        words per minute, 80 to 450 (default 175)\n"
      "      --pitch N       base pitch, 0 to 100 (default 50)\n"
      "      --volume N      volume, 0 to 200 (default 100)\n"
      "      --synch[=FILE]  also produce the synch text (sentence start times) and print\n"
      "                      it, or write it to FILE\n"
      "      --marks FORMAT[=FILE]\n"
      "                      speech marks, one per sentence, printed or written to FILE:\n"
      "                      json (one object per line, also one per SSML <mark/>), srt\n"
      "                      or vtt (subtitle cues)\n"
      "      --ssml          the text is SSML markup (adds markup=ssml)\n"
      "      --no-ssml       the text is plain text, tags and all (adds markup=off); with\n"
      "                      neither, a text starting with <speak or <?xml is markup\n"
      "      --media-url URL the MediaUrl of the synch text (default empty)\n"
      "      --server ADDRESS speak through the speech server (tavnd) at ADDRESS:\n"
      "                      unix:/PATH, IPv4:PORT, [IPv6]:PORT or localhost:PORT; short\n"
      "                      for --conn1 ADDRESS (without either, it speaks in this process)\n"
      "      --conn1 S       first connection string (31 characters at most)\n"
      "      --conn2 S       second connection string (47 characters at most): a second\n"
      "                      server, tried when the first fails before the first piece\n"
      "      --params S      engine parameter string, passed on first; --voice, --rate,\n"
      "                      --pitch, --volume, --format and --ssml add voice=, rate=,\n"
      "                      pitch=, volume=, 5= and markup= items after it (127\n"
      "                      characters in all)\n"
      "  -h, --help          this text\n"
      "Options take their value as '--opt VALUE' or '--opt=VALUE'; '--' ends them.\n"
      "\n"
      "Audio formats (0 is the engine's default, 4; 1-16 carry a WAVE header, 17-22 are\n"
      "raw ADPCM without header; 23-26 are AMR files, 27-30 MP3 files; 101-104 make libtavn\n"
      "convert to 8 kHz 16-bit and then remove the file, as its converter is a stub):\n");
  for (uint32_t i = 0; i < kAudioFormatCount; ++i) {
    const AudioFormat& f = audio_format_table[i];
    std::printf("  %2u  %-24s %5u Hz %2u bits\n", i, f.name, f.sample_rate, f.bits_per_sample);
  }
  std::printf(
      "\n"
      "Exit status: 0 success; 1 the request failed (the result code, its name and reason are\n"
      "printed), or an output could not be written; 2 bad command line.  libtavn writes its\n"
      "log to ./tavn.log.\n");
}

// Size of the text the front end will read, for the synch buffer.
size_t text_bytes(const SayOptions& o) {
  if (!o.is_file) return o.text.size() < kMaxTextBytes ? o.text.size() : kMaxTextBytes;
  struct stat st;
  if (stat(o.text.c_str(), &st) != 0 || st.st_size < 0) return 0;
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  return size < kMaxTextBytes ? static_cast<size_t>(size) : kMaxTextBytes;
}

// The text as the front end reads it: the string, or the file's first bytes.
std::string spoken_text(const SayOptions& o) {
  if (!o.is_file) return o.text;
  std::string text(kMaxTextBytes, '\0');
  FILE* f = std::fopen(o.text.c_str(), "rb");
  const size_t n = f == nullptr ? 0 : std::fread(&text[0], 1, text.size(), f);
  if (f != nullptr) std::fclose(f);
  text.resize(n);
  return text;
}

// Every failure after the command line was accepted ends here: the message,
// the temporary files removed, status 1.
int fail(const std::string& message) {
  std::fprintf(stderr, "tavn-say: %s\n", message.c_str());
  remove_temp_files();
  return kExitFailed;
}

int report(uint32_t code) { return fail("failed: " + describe_result(code)); }

// The connection settings the engine read from `params` (which it accepted).
speech::EngineSettings engine_settings(const std::string& params) {
  speech::EngineSettings settings;
  speech::parse_engine_params(params, &settings);
  return settings;
}

// Whether the engine read `text` as markup under `settings`.
bool read_as_markup(const speech::EngineSettings& settings, const std::string& text) {
  switch (settings.markup) {
    case speech::MarkupMode::kSsml: return true;
    case speech::MarkupMode::kOff: return false;
    default: return speech::markup::looks_like_markup(text);
  }
}

// The text as the engine read it, read again as markup into `*doc`.
uint32_t read_markup_again(const SayOptions& o, const speech::EngineSettings& settings,
                           speech::markup::MarkupDocument* doc,
                           speech::markup::MarkupError* error) {
  const std::string text = spoken_text(o).substr(0, kMaxTextBytes);
  return speech::markup::read_markup_or_fragment(text, speech::voice_language(settings.voice), doc,
                                                 error);
}

// A failed request; for markup the engine could not read, also where and why.
int report(uint32_t code, const SayOptions& o, const std::string& params) {
  std::string message = "failed: " + describe_result(code);
  if (code == speech::ENGINE_ERR_BAD_MARKUP) {
    const speech::EngineSettings settings = engine_settings(params);
    const std::string place = speech::markup::markup_error_place(
        spoken_text(o).substr(0, kMaxTextBytes), speech::voice_language(settings.voice));
    if (!place.empty()) message += "\ntavn-say: " + place;
  }
  return fail(message);
}

// --voices: the engine's list, as a table.
int print_voices() {
  uint32_t r = TTSInitialize();
  uint32_t needed = 0;
  if (r == 0) r = TTSListVoices(nullptr, 0, &needed);
  std::vector<char> list(needed);
  if (needed > 0) r = TTSListVoices(list.data(), needed, &needed);
  if (r != 0) return report(r);
  list.push_back('\0');  // a list that filled its buffer exactly still ends
  std::printf("%-24s %-16s %s\n", "NAME", "LANGUAGE", "RATE");
  char name[128], language[128];
  unsigned rate = 0;
  for (const char* line = list.data(); *line != '\0';) {
    if (std::sscanf(line, "%127[^\t]\t%127[^\t]\t%u", name, language, &rate) == 3)
      std::printf("%-24s %-16s %u\n", name, language, rate);
    const char* end = std::strchr(line, '\n');
    if (end == nullptr) break;
    line = end + 1;
  }
  return 0;
}

std::string system_error(const std::string& what) { return what + ": " + std::strerror(errno); }

bool read_all(int fd, std::string* out) {
  char buf[65536];
  for (;;) {
    const ssize_t n = read(fd, buf, sizeof buf);
    if (n == 0) return true;
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    out->append(buf, static_cast<size_t>(n));
  }
}

bool write_all(int fd, const char* p, size_t n) {
  while (n > 0) {
    const ssize_t w = write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

// Writes `text` to the file `name`, or to standard output when `name` is empty.
bool write_text(const std::string& name, const std::string& text) {
  if (name.empty())
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
           std::fflush(stdout) == 0;
  FILE* f = std::fopen(name.c_str(), "wb");
  if (f == nullptr) return false;
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  return std::fclose(f) == 0 && ok;
}

// One request with the synch text.  Returns the library's result.
uint32_t speak_with_synch(const SayOptions& o, const std::string& out, const std::string& params,
                          std::string* synch) {
  const size_t capacity = synch_capacity(text_bytes(o));
  std::vector<char> buffer(capacity + 1, '\0');  // the terminator may land one past capacity
  char* p = buffer.data();
  const uint32_t r =
      TavnSynthSyn(o.text.c_str(), o.is_file, out.c_str(), o.conn1.c_str(), o.conn2.c_str(),
                   params.c_str(), o.media_url.c_str(), &p, static_cast<int>(capacity));
  *synch = buffer.data();
  return r;
}

// Speech marks of the finished request.  Where the library prints no
// finite times (formats without a bit rate), the same text is spoken once
// more as 16 kHz 16-bit PCM into a temporary file, and both the times and
// the end of the audio come from that rendering.  A marked-up text is read
// again, so that its records tell sentences from marks.
int write_marks(const SayOptions& o, const std::string& audio, const std::string& synch) {
  std::vector<SynchSentence> sentences;
  if (!read_synch_sentences(synch, o.media_url, audio, &sentences))
    return fail("the synch text is not in the expected form");
  int64_t end_ms = audio_length_ms(audio, requested_format(o));
  if (!times_are_finite(sentences)) {
    SayOptions pcm = o;
    pcm.params = without_format_items(o.params);
    pcm.has_format = true;
    pcm.format = 4;
    const std::string timing = make_temp_file(".wav");
    if (timing.empty()) return fail(system_error("cannot make a temporary file"));
    std::string pcm_synch;
    const uint32_t r = speak_with_synch(pcm, timing, build_params(pcm), &pcm_synch);
    if (r != 0) return report(r, pcm, build_params(pcm));
    sentences.clear();
    if (!read_synch_sentences(pcm_synch, o.media_url, timing, &sentences))
      return fail("the synch text is not in the expected form");
    end_ms = audio_length_ms(timing, 4);
  }
  const std::string text = spoken_text(o).substr(0, kMaxTextBytes);
  MarksFormat format = MarksFormat::kJson;
  parse_marks_format(o.marks_format, &format);
  const speech::EngineSettings settings = engine_settings(build_params(o));
  std::vector<SpeechMark> marks;
  if (read_as_markup(settings, text)) {
    speech::markup::MarkupDocument doc;
    speech::markup::MarkupError error;
    if (read_markup_again(o, settings, &doc, &error) != 0 ||
        !make_markup_marks(sentences, text, doc, end_ms, &marks))
      return fail("the synch text does not match the markup");
  } else {
    marks = make_marks(sentences, text, end_ms);
  }
  if (!write_text(o.marks_file, format_marks(marks, format)))
    return fail(system_error("cannot write the speech marks " +
                             (o.marks_file.empty() ? "" : o.marks_file)));
  return 0;
}

bool copy_to_stdout(const std::string& name) {
  const int fd = open(name.c_str(), O_RDONLY);
  if (fd < 0) return errno == ENOENT;  // formats 101 to 104 leave no file: nothing to copy
  char buf[65536];
  bool ok = true;
  for (;;) {
    const ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ok = n == 0;
      break;
    }
    if (!write_all(STDOUT_FILENO, buf, static_cast<size_t>(n))) {
      ok = false;
      break;
    }
  }
  close(fd);
  return ok;
}

int run(int argc, char** argv) {
  SayOptions o;
  o.stdin_is_terminal = isatty(STDIN_FILENO) == 1;
  const std::string error = parse_say_options(argc, argv, &o);
  if (!error.empty()) {
    std::fprintf(stderr, "tavn-say: %s\n", error.c_str());
    return kExitUsage;
  }
  if (o.help) {
    print_help();
    return 0;
  }
  if (o.list_voices) return print_voices();
  if (o.text_from_stdin && !read_all(STDIN_FILENO, &o.text))
    return fail(system_error("cannot read the text from standard input"));

  install_temp_file_cleanup();
  std::string out = o.out;
  if (o.out == "-") {
    out = make_temp_file(".wav");
    if (out.empty()) return fail(system_error("cannot make a temporary file"));
  }
  const std::string params = build_params(o);

  if (!o.synch && o.marks_format.empty()) {
    const uint32_t r = TalvernSynth(o.text.c_str(), o.is_file, out.c_str(), o.conn1.c_str(),
                                    o.conn2.c_str(), params.c_str());
    if (r != 0) return report(r, o, params);
  } else {
    std::string synch;
    const uint32_t r = speak_with_synch(o, out, params, &synch);
    if (r != 0) return report(r, o, params);
    if (o.synch && !write_text(o.synch_file, synch + (o.synch_file.empty() ? "\n" : "")))
      return fail(system_error("cannot write the synch text " + o.synch_file));
    if (!o.marks_format.empty()) {
      const int status = write_marks(o, out, synch);
      if (status != 0) return status;
    }
  }
  if (o.out == "-" && !copy_to_stdout(out))
    return fail(system_error("cannot copy the audio to standard output"));
  remove_temp_files();
  return 0;
}

}  // namespace
}  // namespace tavn::say

int main(int argc, char** argv) { return tavn::say::run(argc, argv); }
