// The master's pool of worker processes and the queue of requests waiting
// for one.
//
// Each worker is the tavnd program itself, started with "--worker-fd 3"
// through posix_spawn (never fork from the master, which may hold threads)
// with one end of a socketpair as descriptor 3 and no other descriptor of
// the master.  A worker speaks one request at a time.  A worker that dies
// (killed, or ended by a back end) fails only the request it was speaking,
// with a kError frame carrying ENGINE_ERR_SERVER_FAILED, and is replaced
// at once (after a second when it lived under a second, so a worker that
// cannot start does not spin): the pool never shrinks.  A request running
// longer than the request timeout has its worker killed and fails the same
// way.
//
// Not thread-safe: every member, and every callback, runs on the thread
// running the io_context.
#ifndef TAVN_SERVER_WORKER_POOL_H_
#define TAVN_SERVER_WORKER_POOL_H_

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engines/speech/remote/wire_format.h"
#include "server/server_options.h"

namespace tavn::server {

namespace asio = boost::asio;
namespace wire = tavn::speech::wire;

// One frame of a worker's answer.
struct FrameView {
  wire::FrameType type;
  uint32_t code;
  std::string_view raw;  // the whole frame, as it goes on the wire
};

// Called by a FrameHandler when it is done with a frame: true for the next
// one, false to abandon the request (its worker is killed and replaced).
using Next = std::function<void(bool more)>;

// Receives a request's frames in order, one at a time: the next frame is
// read from the worker only after `next(true)`, so one piece at a time is in
// memory per request.  The last frame is kEnd or kError (also when the worker
// dies); after it the handler is not called again.  `raw` stays valid until
// `next` is called; for the last frame, only during the call (copy it: it is
// at most a few hundred bytes), and `next` need not be called.
using FrameHandler = std::function<void(const FrameView& frame, const Next& next)>;

struct PoolSettings {
  unsigned workers = 1;
  size_t queue = 64;
  Millis request_timeout{300'000};
  std::string program = "/proc/self/exe";  // the tavnd binary
  std::string audio_root;                  // passed to every worker
};

struct PoolStats {
  unsigned workers = 0;  // running
  unsigned busy = 0;
  size_t queued = 0;
  uint64_t replaced = 0;  // workers replaced since the start
};

class WorkerPool {
 public:
  WorkerPool(asio::io_context& io, const PoolSettings& settings);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Starts the workers and watches for their end (SIGCHLD).
  void start();

  // Runs `request` on a free worker, or queues it.  False when the queue is
  // full: `handler` is then never called.
  bool submit(wire::Request request, FrameHandler handler);

  // Settings that change while running (SIGHUP): the queue's length and the
  // request timeout, for requests submitted from now on.
  void set_queue_limit(size_t queue) { settings_.queue = queue; }
  void set_request_timeout(Millis timeout) { settings_.request_timeout = timeout; }

  PoolStats stats() const;

  // Ends every worker: closes their sockets (an idle worker then exits),
  // waits up to `grace` and kills those left.  Queued requests are dropped
  // without a call.
  void stop(Millis grace);

 private:
  struct Job {
    wire::Request request;
    FrameHandler handler;
  };
  struct Slot;

  void spawn(Slot& slot);
  void replace(Slot& slot);
  void dispatch(Slot& slot, Job job);
  void read_frame(Slot& slot);
  void deliver(Slot& slot);
  void fail(Slot& slot, const std::string& reason);
  void run_queued(Slot& slot);
  void on_child_exit();
  void watch_children();

  asio::io_context& io_;
  PoolSettings settings_;
  asio::signal_set child_signal_;
  std::vector<std::unique_ptr<Slot>> slots_;
  std::deque<Job> queue_;
  std::set<pid_t> children_;  // started and not yet reaped
  uint64_t replaced_ = 0;
  bool stopping_ = false;
};

}  // namespace tavn::server

#endif  // TAVN_SERVER_WORKER_POOL_H_
