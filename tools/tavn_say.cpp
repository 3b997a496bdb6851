// tavn-say: speaks a text or a text file into a WAVE file through libtavn
// and the espeak engine, optionally with the synch text.
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "engines/espeak/voice_list.h"
#include "synth/audio_format.h"
#include "synth/kavritts.h"
#include "synth/tavn.h"
#include "tools/result_names.h"
#include "tools/say_options.h"

namespace {

constexpr int kExitFailed = 1, kExitUsage = 2, kExitSynchFile = 3;
constexpr size_t kMaxTextBytes = 65536;  // the front end reads no more

void print_help() {
  std::printf(
      "Usage: tavn-say [options] TEXT...\n"
      "       tavn-say [options] -f FILE\n"
      "Speaks TEXT (the words joined by blanks) or the contents of FILE (UTF-8, at most\n"
      "65536 bytes are used) into a WAVE file, through libtavn and the espeak-ng engine.\n"
      "\n"
      "Options:\n"
      "  -o, --out FILE      audio file to write (default tavn-say.wav)\n"
      "  -f, --file FILE     speak the contents of FILE\n"
      "      --format F      audio format: a number or a name from the table below\n"
      "      --voice NAME    voice: espeak-ng's, e.g. en, en-us, en+f3, de, cmn (default en),\n"
      "                      or flite's: flite:slt, flite:awb, flite:rms, flite:kal16, flite:kal\n"
      "      --voices        list every installed voice: name, language, sample rate\n"
      "      --rate N        words per minute, 80 to 450 (default 175)\n"
      "      --pitch N       base pitch, 0 to 100 (default 50)\n"
      "      --volume N      volume, 0 to 200 (default 100)\n"
      "      --synch[=FILE]  also produce the synch text (sentence start times) and print\n"
      "                      it, or write it to FILE\n"
      "      --media-url URL the MediaUrl of the synch text (default empty)\n"
      "      --conn1 S       first connection string (31 characters at most)\n"
      "      --conn2 S       second connection string (47 characters at most)\n"
      "      --params S      engine parameter string, passed on first; --voice, --rate,\n"
      "                      --pitch, --volume and --format add voice=, rate=, pitch=,\n"
      "                      volume= and 5= items after it (127 characters in all)\n"
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
      "printed); 2 bad command line; 3 the synch file cannot be written.  libtavn writes its\n"
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

// --voices: the engine's list, as a table.
int print_voices() {
  uint32_t r = TTSInitialize();
  uint32_t needed = 0;
  if (r == 0) r = TTSListVoices(nullptr, 0, &needed);
  std::vector<char> list(needed);
  if (needed > 0) r = TTSListVoices(list.data(), needed, &needed);
  if (r != 0) {
    std::fprintf(stderr, "tavn-say: failed: %s\n", describe_result(r).c_str());
    return kExitFailed;
  }
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

int report(uint32_t code) {
  std::fprintf(stderr, "tavn-say: failed: %s\n", describe_result(code).c_str());
  return kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  SayOptions o;
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
  const std::string params = build_params(o);

  if (!o.synch) {
    const uint32_t r = TalvernSynth(o.text.c_str(), o.is_file, o.out.c_str(), o.conn1.c_str(),
                                    o.conn2.c_str(), params.c_str());
    return r == 0 ? 0 : report(r);
  }

  const size_t capacity = synch_capacity(text_bytes(o));
  std::vector<char> buffer(capacity + 1, '\0');  // the terminator may land one past capacity
  char* synch = buffer.data();
  const uint32_t r = TavnSynthSyn(o.text.c_str(), o.is_file, o.out.c_str(), o.conn1.c_str(),
                                  o.conn2.c_str(), params.c_str(), o.media_url.c_str(), &synch,
                                  static_cast<int>(capacity));
  if (r != 0) return report(r);
  if (o.synch_file.empty()) {
    std::printf("%s\n", buffer.data());
    return 0;
  }
  FILE* f = std::fopen(o.synch_file.c_str(), "wb");
  if (f == nullptr) {
    std::fprintf(stderr, "tavn-say: cannot write the synch file %s\n", o.synch_file.c_str());
    return kExitSynchFile;
  }
  const std::string text(buffer.data());
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (std::fclose(f) != 0 || !ok) {
    std::fprintf(stderr, "tavn-say: cannot write the synch file %s\n", o.synch_file.c_str());
    return kExitSynchFile;
  }
  return 0;
}
