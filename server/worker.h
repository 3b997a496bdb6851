// A worker process of tavnd: the speech engine speaking one request at a
// time for the master, on the socket it inherited (see worker_link.h).
//
// Each worker has its own libespeak-ng, so workers speak in parallel.
#ifndef TAVN_SERVER_WORKER_H_
#define TAVN_SERVER_WORKER_H_

#include <string>

namespace tavn::server {

// Starts the back ends, then answers jobs read from `fd` until the master
// closes it: kCheck with kEnd or kError, kSpeak with one frame per piece as
// each is rendered, then kEnd, or kError with the engine's result and its
// reason.  The request's parameters pass through server_side_params with
// `audio_root` first.  Returns the process's exit status: 0 when the master
// closed the socket, 1 when it went away mid-answer or sent a malformed job.
int run_worker(int fd, const std::string& audio_root);

}  // namespace tavn::server

#endif  // TAVN_SERVER_WORKER_H_
