// Command line of tavn-say: what it reads and the request it builds.
#ifndef TAVN_TOOLS_SAY_OPTIONS_H_
#define TAVN_TOOLS_SAY_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

// Longest strings the front end passes to the engine whole; longer ones it
// would cut without notice, so tavn-say refuses them.
constexpr size_t kMaxParams = 127, kMaxConn1 = 31, kMaxConn2 = 47;

struct SayOptions {
  bool help = false;
  bool list_voices = false;  // --voices: list the installed voices and stop
  std::string text;          // the words joined by blanks, or the -f file name
  bool is_file = false;
  std::string out = "tavn-say.wav";
  bool has_format = false;
  uint32_t format = 0;
  std::string voice, rate, pitch, volume;  // empty: the engine's default
  bool synch = false;
  std::string synch_file;    // empty: print the synch text
  std::string media_url;
  std::string conn1, conn2, params;
};

// Reads argv[1..argc-1] into `*out`.  Returns "" on success, else a message
// for the user.  Options take their value as "--opt VALUE" or "--opt=VALUE";
// "--" ends the options.
std::string parse_say_options(int argc, const char* const* argv, SayOptions* out);

// A format given as a number (0 to 30 or 101 to 104) or as a row name of
// audio_format_table, with or without its "TTS_ADF_" prefix, in any case.
bool parse_format(const std::string& s, uint32_t* out);

// The engine parameter string: --params, then the voice=, rate=, pitch=,
// volume= and 5= items of the options that were given.
std::string build_params(const SayOptions& o);

// Bytes the synch text may need for a text of `text_bytes` bytes, so that
// the synch buffer is never the reason a request fails.
size_t synch_capacity(size_t text_bytes);

#endif  // TAVN_TOOLS_SAY_OPTIONS_H_
