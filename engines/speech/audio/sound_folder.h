// The one folder that recordings named by marked-up texts (<audio src>)
// may come from (engine parameter audio_root).
//
// A src value is outside input, so it is refused, never repaired, when it is
// empty or longer than PATH_MAX, holds a zero byte, looks like a URL (a
// scheme such as "http:" or "file:" before any '/'), or has a ".."
// component; an absolute path is taken as it stands and a relative one
// inside the folder.  The path is then resolved (realpath: symbolic links,
// "." and repeated slashes) and must still lie inside the folder's own
// resolved path, so a symbolic link leading out of it is refused while one
// inside it is followed.  What was checked is what is opened (the resolved
// path, O_NOFOLLOW), and it must be a regular file.  The folder's contents
// are the operator's, not the text author's: a file swapped for a link
// between the check and the open is outside this guard.
//
// Immutable after construction: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_AUDIO_SOUND_FOLDER_H_
#define TAVN_ENGINES_SPEECH_AUDIO_SOUND_FOLDER_H_

#include <string>
#include <string_view>

namespace tavn::speech {

class SoundFolder {
 public:
  // `root`: an absolute folder, or "" for none.  It is resolved now; a folder
  // that does not exist (or none) refuses every name.
  explicit SoundFolder(std::string_view root);

  // A descriptor open for reading on the regular file `src` names inside the
  // folder (the caller closes it), or -1 when `src` is refused, missing or
  // unreadable.
  int open(std::string_view src) const;

 private:
  std::string prefix_;  // the resolved folder and a final '/'; "" = none
};

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_AUDIO_SOUND_FOLDER_H_
