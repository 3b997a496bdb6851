// Command line of tavn-say: what it reads and the request it builds.
#ifndef TAVN_TOOLS_SAY_OPTIONS_H_
#define TAVN_TOOLS_SAY_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace tavn::say {

// Longest strings the front end passes to the engine whole; longer ones it
// would cut without notice, so tavn-say refuses them.
constexpr size_t kMaxParams = 127, kMaxConn1 = 31, kMaxConn2 = 47;

struct SayOptions {
  // Set by the caller before parsing: with no TEXT, a terminal on standard
  // input is a usage error, anything else is read as the text.
  bool stdin_is_terminal = true;

  bool help = false;
  bool list_voices = false;  // --voices: list the installed voices and stop
  std::string text;          // the words joined by blanks, or the -f file name
  bool is_file = false;
  bool text_from_stdin = false;      // -f -, or no TEXT with a pipe or file on standard input
  std::string out = "tavn-say.wav";  // "-": standard output
  bool has_format = false;
  uint32_t format = 0;
  std::string voice, rate, pitch, volume;  // empty: the engine's default
  bool synch = false;
  std::string synch_file;  // empty: print the synch text
  std::string media_url;
  std::string conn1, conn2, params;
  std::string markup;        // "ssml" (--ssml), "off" (--no-ssml); empty: the engine decides
  std::string marks_format;  // "json", "srt", "vtt"; empty: no speech marks
  std::string marks_file;    // empty: print the marks
};

// Reads argv[1..argc-1] into `*out`.  Returns "" on success, else a message
// for the user.  Options take their value as "--opt VALUE" or "--opt=VALUE";
// "--" ends the options.
std::string parse_say_options(int argc, const char* const* argv, SayOptions* out);

// A format given as a number (0 to 30 or 101 to 104) or as a row name of
// audio_format_table, with or without its "TTS_ADF_" prefix, in any case.
bool parse_format(const std::string& s, uint32_t* out);

// The audio format the request asks for: --format, else the number after
// the first "5=" in --params as libtavn reads it, else 0 (the engine's default).
uint32_t requested_format(const SayOptions& o);

// `params` without its "5=" items (the format), the other items kept in
// order and joined by ','.
std::string without_format_items(const std::string& params);

// The engine parameter string: --params, then the voice=, rate=, pitch=,
// volume=, 5= and markup= items of the options that were given.
std::string build_params(const SayOptions& o);

// Bytes the synch text may need for a text of `text_bytes` bytes, so that
// the synch buffer is never the reason a request fails.
size_t synch_capacity(size_t text_bytes);

}  // namespace tavn::say

#endif  // TAVN_TOOLS_SAY_OPTIONS_H_
