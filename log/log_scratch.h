// Log_Scratch: the large work buffers of the record path, kept off the
// stack so that a record can be written from a thread with a small stack
// (64 KiB is enough for a whole request under any logger settings).
//
// Each thread gets one buffer of each kind, made on first use and freed
// when the thread ends; a record therefore allocates nothing once its
// thread has logged before.  When this thread's buffer of a kind is already
// in use (a nested use), or when the thread's buffers are already freed (a
// record written while the thread exits, such as the tail block written by
// an exit hook), a buffer is made for this one use and freed with the
// Log_Scratch object.  A thread that logs keeps up to about 450 KB of
// address space (80 KB for narrow records only), but only the pages that
// its records have actually written are resident.
//
// Thread safety: a Log_Scratch belongs to the thread that created it and
// must be destroyed there.  data() is null only when no memory was left;
// callers then drop what they would have written.
#ifndef TAVN_LOG_LOG_SCRATCH_H_
#define TAVN_LOG_LOG_SCRATCH_H_

#include <cstddef>

namespace KAVRI_LOG {

enum class Scratch_Kind {
  message,      // a level call's formatted message: 40960 chars
  line,         // a narrow record line: 40960 chars
  wide_line,    // a wide record line: 66560 wide characters
  wide_text,    // a text widened for a wide log file: 20480 wide characters
  narrow_text,  // a wide text narrowed: 20481 chars
};
constexpr int kScratchKinds = 5;

// Size in bytes of a buffer of `kind`.
size_t scratch_bytes(Scratch_Kind kind);

class Log_Scratch {
 public:
  explicit Log_Scratch(Scratch_Kind kind);
  ~Log_Scratch();
  Log_Scratch(const Log_Scratch&) = delete;
  Log_Scratch& operator=(const Log_Scratch&) = delete;

  // The buffer (scratch_bytes(kind) bytes, contents undefined), or null.
  void* data() const { return data_; }
  char* chars() const { return static_cast<char*>(data_); }
  wchar_t* wide() const { return static_cast<wchar_t*>(data_); }

 private:
  Scratch_Kind kind_;
  void* data_ = nullptr;
  bool one_off_ = false;  // made for this use alone: freed by the destructor
};

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_SCRATCH_H_
