// The engine parameter string a worker speaks with: the request's own,
// less anything that names a file on the server's disk, plus the server's
// audio folder.
//
// Pure function: safe from any thread.
#ifndef TAVN_SERVER_REQUEST_PARAMS_H_
#define TAVN_SERVER_REQUEST_PARAMS_H_

#include <string>
#include <string_view>

namespace tavn::server {

// `params` cut at its first zero byte (as TTSConnect reads it), every
// "audio_root=" item removed (its key in any case; items are split on
// commas, semicolons and white space, as the engine splits them), and,
// when `audio_root` is not empty, ",audio_root=<audio_root>" appended, so
// the server's folder is the one the engine sees.  `audio_root` must hold
// no separator (the server's options refuse one).
std::string server_side_params(std::string_view params, std::string_view audio_root);

}  // namespace tavn::server

#endif  // TAVN_SERVER_REQUEST_PARAMS_H_
