// tavnd: the speech engine as an HTTP service.  The same program is the
// master (no --worker-fd) and each of its workers (--worker-fd, started by
// the master only).
#include <malloc.h>

#include <cstdio>
#include <string>

#include "server/master.h"
#include "server/privileges.h"
#include "server/server_log.h"
#include "server/server_options.h"
#include "server/voice_listing.h"
#include "server/worker.h"

using namespace tavn::server;

namespace {

// The master holds each answer's body in one block (stored answers up to
// 4 MiB go whole, pieces of a rendering as they come) and frees it once
// sent.  By default glibc maps blocks from about 128 KiB afresh and hands a
// freed heap top of twice that back to the system, so every answer paid for
// new zeroed pages and their faults; keeping them in the heap makes a
// 100 KB cache hit half again as fast.  Memory freed stays reusable, up to
// 32 MiB of it at the heap's top.
void keep_answer_blocks() {
  mallopt(M_MMAP_THRESHOLD, 8 << 20);
  mallopt(M_TRIM_THRESHOLD, 32 << 20);
}

}  // namespace

int main(int argc, char** argv) {
  OptionItems command_line;
  ServerOptions options;
  std::string why;
  if (!read_command_line(argc, argv, &command_line, &why) ||
      !load_options(command_line, &options, &why)) {
    std::fprintf(stderr, "tavnd: %s\nTry 'tavnd --help'.\n", why.c_str());
    return 2;
  }
  if (options.help) {
    std::fputs(usage_text(), stdout);
    return 0;
  }
  if (options.worker_fd >= 0) return run_worker(options.worker_fd, options.audio_root);
  if (options.list_voices) return print_voices();
  keep_answer_blocks();
  why = check_run_as(options.user, options.allow_root);
  if (!why.empty()) {
    std::fprintf(stderr, "tavnd: %s\n", why.c_str());
    return 2;
  }
  why = log_to(options.log_file);
  if (!why.empty()) {
    std::fprintf(stderr, "tavnd: %s\n", why.c_str());
    return 1;
  }
  Master master(options, command_line);
  return master.run();
}
