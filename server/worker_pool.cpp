#include "server/worker_pool.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <cstring>
#include <thread>

#include "engines/speech/engine_codes.h"
#include "server/server_log.h"
#include "server/worker_link.h"

extern char** environ;

namespace tavn::server {

using Clock = std::chrono::steady_clock;
using boost::system::error_code;

struct WorkerPool::Slot {
  explicit Slot(asio::io_context& io) : socket(io), timer(io), respawn(io) {}
  pid_t pid = -1;  // -1 once reaped
  asio::local::stream_protocol::socket socket;
  asio::steady_timer timer;    // the running request's time limit
  asio::steady_timer respawn;  // a delayed replacement
  Clock::time_point started;
  uint64_t generation = 0;   // changes with each worker; older callbacks see the change
  std::unique_ptr<Job> job;  // the request being spoken
  std::string job_bytes;
  uint8_t header[wire::kFrameHeaderBytes];
  std::string frame;    // the frame being read or handed out
  std::string failure;  // why the running request is being failed, once known

  bool idle() const { return job == nullptr && socket.is_open(); }
};

namespace {

constexpr int kWorkerSendBytes = 4 << 20;

std::string describe_status(int status) {
  if (WIFSIGNALED(status)) return "killed by signal " + std::to_string(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

std::string error_frame(const std::string& reason) {
  wire::Frame f;
  f.type = wire::FrameType::kError;
  f.code = speech::ENGINE_ERR_SERVER_FAILED;
  f.bytes.assign(reason.begin(), reason.begin() + std::min(reason.size(), wire::kMaxReason));
  std::string out;
  wire::encode_frame(f, &out);
  return out;
}

}  // namespace

WorkerPool::WorkerPool(asio::io_context& io, const PoolSettings& settings)
    : io_(io), settings_(settings), child_signal_(io, SIGCHLD) {}

WorkerPool::~WorkerPool() { stop(Millis(0)); }

void WorkerPool::start() {
  watch_children();
  for (unsigned i = 0; i < settings_.workers; ++i) {
    slots_.push_back(std::make_unique<Slot>(io_));
    spawn(*slots_.back());
  }
}

void WorkerPool::spawn(Slot& slot) {
  if (stopping_) return;
  int sv[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) != 0) {
    log_line(std::string("cannot make a worker's socket: ") + std::strerror(errno));
    slot.respawn.expires_after(std::chrono::seconds(1));
    slot.respawn.async_wait([this, &slot](error_code ec) {
      if (!ec) spawn(slot);
    });
    return;
  }
  // Room for a few sentences of audio on the way to the master, so that a
  // worker renders on while the master passes the last one to its client
  // (the system's limit, net.core.wmem_max, may cap it lower).
  const int room = kWorkerSendBytes;
  setsockopt(sv[1], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, sv[1], 3);
  if (log_fd() != 2) posix_spawn_file_actions_adddup2(&actions, log_fd(), 2);
  posix_spawn_file_actions_addclosefrom_np(&actions, 4);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  for (int s : {SIGPIPE, SIGCHLD, SIGTERM, SIGINT, SIGHUP}) sigaddset(&defaults, s);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::vector<std::string> args = {settings_.program, "--worker-fd", "3"};
  if (!settings_.audio_root.empty())
    args.insert(args.end(), {"--audio-root", settings_.audio_root});
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int rc =
      posix_spawn(&pid, settings_.program.c_str(), &actions, &attr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  close(sv[1]);
  ++slot.generation;
  slot.started = Clock::now();
  if (rc != 0) {
    close(sv[0]);
    log_line("cannot start a worker (" + settings_.program + "): " + std::strerror(rc));
    slot.respawn.expires_after(std::chrono::seconds(1));
    slot.respawn.async_wait([this, &slot](error_code ec) {
      if (!ec) spawn(slot);
    });
    return;
  }
  slot.pid = pid;
  children_.insert(pid);
  slot.socket.assign(asio::local::stream_protocol(), sv[0]);
  run_queued(slot);
}

void WorkerPool::replace(Slot& slot) {
  ++slot.generation;                          // callbacks of the old worker now do nothing
  if (slot.pid > 0) kill(slot.pid, SIGKILL);  // reaped in on_child_exit
  slot.pid = -1;
  error_code ignored;
  slot.socket.close(ignored);
  slot.timer.cancel();
  slot.job.reset();
  ++replaced_;
  if (Clock::now() - slot.started >= std::chrono::seconds(1)) {
    spawn(slot);
    return;
  }
  slot.respawn.expires_after(std::chrono::seconds(1));
  slot.respawn.async_wait([this, &slot](error_code ec) {
    if (!ec) spawn(slot);
  });
}

bool WorkerPool::submit(wire::Request request, FrameHandler handler) {
  Job job{std::move(request), std::move(handler)};
  for (auto& slot : slots_) {
    if (slot->idle() && queue_.empty()) {
      dispatch(*slot, std::move(job));
      return true;
    }
  }
  if (queue_.size() >= settings_.queue) return false;
  queue_.push_back(std::move(job));
  return true;
}

void WorkerPool::run_queued(Slot& slot) {
  if (!slot.idle() || queue_.empty()) return;
  Job job = std::move(queue_.front());
  queue_.pop_front();
  dispatch(slot, std::move(job));
}

void WorkerPool::dispatch(Slot& slot, Job job) {
  slot.job = std::make_unique<Job>(std::move(job));
  slot.failure.clear();
  slot.job_bytes.clear();
  if (!encode_job(slot.job->request, &slot.job_bytes)) {
    fail(slot, "the request exceeds the wire format's limits");
    return;
  }
  const uint64_t gen = slot.generation;
  const Millis limit = settings_.request_timeout;
  slot.timer.expires_after(limit);
  slot.timer.async_wait([this, &slot, gen, limit](error_code ec) {
    if (ec || gen != slot.generation || slot.job == nullptr) return;
    slot.failure = "the request ran longer than " + std::to_string(limit.count()) +
                   " ms; its worker was killed";
    if (slot.pid > 0) kill(slot.pid, SIGKILL);  // the pending read then fails
  });
  asio::async_write(slot.socket, asio::buffer(slot.job_bytes),
                    [this, &slot, gen](error_code ec, size_t) {
                      if (gen != slot.generation) return;
                      if (ec)
                        return fail(slot, "cannot send the request to its worker: " + ec.message());
                      read_frame(slot);
                    });
}

void WorkerPool::read_frame(Slot& slot) {
  const uint64_t gen = slot.generation;
  asio::async_read(
      slot.socket, asio::buffer(slot.header), [this, &slot, gen](error_code ec, size_t) {
        if (gen != slot.generation) return;
        if (ec) return fail(slot, "the worker ended while speaking (" + ec.message() + ")");
        const FrameHeader h = read_frame_header(slot.header);
        if (h.type < 1 || h.type > 3 || h.length > wire::FrameReader::kMaxFrameBytes)
          return fail(slot, "the worker sent a malformed frame");
        slot.frame.assign(reinterpret_cast<const char*>(slot.header), sizeof slot.header);
        slot.frame.resize(sizeof slot.header + h.length);
        asio::async_read(slot.socket, asio::buffer(&slot.frame[sizeof slot.header], h.length),
                         [this, &slot, gen](error_code ec2, size_t) {
                           if (gen != slot.generation) return;
                           if (ec2)
                             return fail(slot,
                                         "the worker ended while speaking (" + ec2.message() + ")");
                           deliver(slot);
                         });
      });
}

void WorkerPool::deliver(Slot& slot) {
  const FrameHeader h = read_frame_header(slot.header);
  const auto type = static_cast<wire::FrameType>(h.type);
  const FrameView view{type, h.code, slot.frame};
  if (type != wire::FrameType::kPiece) {
    std::unique_ptr<Job> job = std::move(slot.job);
    slot.timer.cancel();
    job->handler(view, [](bool) {});
    run_queued(slot);
    return;
  }
  const uint64_t gen = slot.generation;
  slot.job->handler(view, [this, &slot, gen](bool more) {
    if (gen != slot.generation || slot.job == nullptr) return;
    if (more) return read_frame(slot);
    log_line("worker pid " + std::to_string(slot.pid) + " killed: its client went away");
    replace(slot);
  });
}

void WorkerPool::fail(Slot& slot, const std::string& reason) {
  const std::string why = slot.failure.empty() ? reason : slot.failure;
  log_line("request failed on worker pid " + std::to_string(slot.pid) + ": " + why);
  std::unique_ptr<Job> job = std::move(slot.job);
  replace(slot);
  if (job == nullptr) return;
  const std::string frame = error_frame(why);
  job->handler(FrameView{wire::FrameType::kError, speech::ENGINE_ERR_SERVER_FAILED, frame},
               [](bool) {});
}

void WorkerPool::watch_children() {
  child_signal_.async_wait([this](error_code ec, int) {
    if (ec) return;
    on_child_exit();
    watch_children();
  });
}

void WorkerPool::on_child_exit() {
  int status = 0;
  for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
    children_.erase(pid);
    for (auto& slot : slots_) {
      if (slot->pid != pid) continue;
      slot->pid = -1;
      log_line("worker pid " + std::to_string(pid) + " ended: " + describe_status(status));
      // A busy worker's request fails when its socket reads the end; an
      // idle one is replaced here.
      if (slot->job == nullptr && !stopping_) replace(*slot);
    }
  }
}

PoolStats WorkerPool::stats() const {
  PoolStats s;
  for (const auto& slot : slots_) {
    s.workers += slot->socket.is_open() ? 1 : 0;
    s.busy += slot->job != nullptr ? 1 : 0;
  }
  s.queued = queue_.size();
  s.replaced = replaced_;
  return s;
}

void WorkerPool::stop(Millis grace) {
  if (stopping_) return;
  stopping_ = true;
  queue_.clear();
  error_code ignored;
  child_signal_.cancel(ignored);
  for (auto& slot : slots_) {
    slot->socket.close(ignored);
    slot->timer.cancel();
    slot->respawn.cancel();
  }
  const Clock::time_point until = Clock::now() + grace;
  while (!children_.empty()) {
    int status = 0;
    const pid_t pid = waitpid(-1, &status, WNOHANG);
    if (pid > 0) {
      children_.erase(pid);
      continue;
    }
    if (pid < 0 || Clock::now() >= until) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  for (pid_t pid : children_) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
  children_.clear();
}

}  // namespace tavn::server
