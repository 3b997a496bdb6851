// The installed voices and the engine's version, as the master learns them
// without starting the speech engine itself: the voices come from a child,
// "tavnd --list-voices", which starts the back ends, prints the list and
// exits.
#ifndef TAVN_SERVER_VOICE_LISTING_H_
#define TAVN_SERVER_VOICE_LISTING_H_

#include <string>

namespace tavn::server {

// "tavnd --list-voices": one "NAME\tLANGUAGE\tSAMPLE_RATE\n" line per voice
// on standard output (the engine's TTSListVoices lines).  Returns the exit
// status: 0, or 1 with a message on standard error when the engine does not
// start.
int print_voices();

// Runs `program --list-voices` and puts its output (at most 1 MiB) in
// `*listing`.  False with a one-line reason in `*why` when it cannot start,
// exits with another status than 0, or takes longer than 60 s (it is then
// killed).  Blocks: call before serving.
bool list_voices_of(const std::string& program, std::string* listing, std::string* why);

// What changes whenever the audio may change: tavnd's version and those of
// libespeak-ng and flite.  Part of every cache key.
std::string engine_version();

}  // namespace tavn::server

#endif  // TAVN_SERVER_VOICE_LISTING_H_
