// Which installed voice speaks each part of a marked-up text.
//
// A part names a voice (<voice name>), a language (xml:lang), both or
// neither:
//   - a named voice that is installed, of either back end, speaks it; a name
//     that is not a voice name or not installed is passed over, not an
//     error (the text's author cannot know what is installed);
//   - else a language the connection's voice cannot speak (their first
//     subtags differ: "fr-CA" against "en-us") is spoken by a libespeak-ng
//     voice of that language: the one whose language is the same tag, else
//     the one named by its first subtag ("fr"), else the first one whose
//     language has that subtag ("zh" is taken as "cmn"); none: the
//     connection's voice;
//   - else the connection's voice.
//
// One chooser per request, used by one thread at a time; it remembers its
// answers and lists the installed voices once, only when a language asks for
// another voice.
#ifndef TAVN_ENGINES_SPEECH_VOICE_CHOICE_H_
#define TAVN_ENGINES_SPEECH_VOICE_CHOICE_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/backends/backend.h"

namespace tavn::speech {

// The language `voice` speaks, lower case ("en-us" for flite:slt; a
// libespeak-ng voice's name without its variant, "en" for "en+f3"), as the
// markup reader takes it for spelling numbers.  Throws std::bad_alloc.
std::string voice_language(std::string_view voice);

class VoiceChooser {
 public:
  explicit VoiceChooser(std::string connection_voice = "en")
      : connection_voice_(std::move(connection_voice)) {}

  // The voice for a part naming `voice` and `language` ("" = none); always
  // an installed one.  The reference stays valid until the next call.  Throws
  // std::bad_alloc.
  const std::string& choose(std::string_view voice, std::string_view language);

 private:
  std::string for_language(const std::string& language);

  std::string connection_voice_;
  std::map<std::string, std::string> chosen_;  // "voice\nlanguage" -> voice
  bool listed_ = false;
  std::vector<VoiceInfo> voices_;
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_VOICE_CHOICE_H_
