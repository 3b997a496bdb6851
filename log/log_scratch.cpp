#include "log/log_scratch.h"

#include <cstdlib>

namespace KAVRI_LOG {

namespace {

// Trivial thread-local state: its storage stays valid until the thread is
// gone, so it can be read even after the freer below has run.
struct Thread_Buffers {
  void* buffer[kScratchKinds];
  unsigned busy;  // bit k: buffer k is in use
  bool freed;     // this thread's buffers are gone
};
thread_local Thread_Buffers tls = {};

// Frees this thread's buffers when the thread ends (for the main thread:
// when exit() begins, before the exit hooks run).
struct Thread_Buffers_Freer {
  bool armed = false;
  ~Thread_Buffers_Freer() {
    for (void*& b : tls.buffer) {
      std::free(b);
      b = nullptr;
    }
    tls.freed = true;
  }
};
thread_local Thread_Buffers_Freer tls_freer;

}  // namespace

size_t scratch_bytes(Scratch_Kind kind) {
  switch (kind) {
    case Scratch_Kind::message: return 40960;
    case Scratch_Kind::line: return 40960;
    case Scratch_Kind::wide_line: return 66560 * sizeof(wchar_t);
    case Scratch_Kind::wide_text: return 20480 * sizeof(wchar_t);
    case Scratch_Kind::narrow_text: return 20481;
  }
  return 0;
}

Log_Scratch::Log_Scratch(Scratch_Kind kind) : kind_(kind) {
  const unsigned k = static_cast<unsigned>(kind) % kScratchKinds;
  const unsigned bit = 1u << k;
  Thread_Buffers& t = tls;
  if (!t.freed && (t.busy & bit) == 0) {
    void*& mine = t.buffer[k];
    if (mine == nullptr) {
      tls_freer.armed = true;  // first use: the freer now runs at thread end
      mine = std::malloc(scratch_bytes(kind));
    }
    if (mine != nullptr) {
      t.busy |= bit;
      data_ = mine;
      return;
    }
  }
  data_ = std::malloc(scratch_bytes(kind));
  one_off_ = true;
}

Log_Scratch::~Log_Scratch() {
  if (one_off_) std::free(data_);
  else tls.busy &= ~(1u << (static_cast<unsigned>(kind_) % kScratchKinds));
}

}  // namespace KAVRI_LOG
