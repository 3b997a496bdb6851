#include "log/log_os.h"

#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "log/log_scratch.h"
#include "log/log_text_output.h"

namespace KAVRI_LOG {

// ---- Time stamps.

namespace {

const char* const kFormats[3] = {"%Y-%m-%d_%H-%M-%S", "%H:%M:%S", "%y/%m/%d-%H:%M:%S"};

// strftime output of the last second seen, per format.  Per thread, so no
// lock is needed; constant-initialised, so access costs no guard.
struct Second_Cache {
  time_t second[3] = {-1, -1, -1};
  size_t len[3] = {};
  char text[3][64] = {};
};
thread_local Second_Cache cache;

}  // namespace

char* format_time(char* buf, bool file_form, bool time_only) {
  buf[0] = '\0';
  const time_t now = time(nullptr);
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  const int millis = static_cast<int>((tv.tv_usec / 1000) % 1000);

  const int form = file_form ? 0 : (time_only ? 1 : 2);
  if (cache.second[form] != now) {
    struct tm parts;
    size_t len = 0;
    if (localtime_r(&now, &parts) != nullptr)
      len = strftime(cache.text[form], sizeof cache.text[form], kFormats[form], &parts);
    cache.text[form][len] = '\0';
    cache.len[form] = len;
    cache.second[form] = now;
  }
  const size_t len = cache.len[form];
  memcpy(buf, cache.text[form], len + 1);
  if (!file_form) {  // " %03d"
    buf[len] = ' ';
    buf[len + 1] = static_cast<char>('0' + millis / 100);
    buf[len + 2] = static_cast<char>('0' + millis / 10 % 10);
    buf[len + 3] = static_cast<char>('0' + millis % 10);
    buf[len + 4] = '\0';
  }
  return buf;
}

char* file_time_text(const char* path, char* buf, size_t size) {
  buf[0] = ' ';
  buf[1] = '\0';
  struct stat st;
  if (path == nullptr || path[0] == '\0' || stat(path, &st) != 0 || st.st_mtime == 0) return buf;
  struct tm parts;
  if (localtime_r(&st.st_mtime, &parts) == nullptr ||
      strftime(buf, size, "%Y-%m-%d %H:%M:%S", &parts) == 0) {
    buf[0] = ' ';
    buf[1] = '\0';
  }
  return buf;
}

// ---- Process and thread ids.

namespace {

// 0 until first asked for.  getpid() is a system call every time, and every
// record shows the id, so it is kept; the fork handler makes a child ask
// again.  The handler goes away with the library (registered with its
// module handle).
std::atomic<int> cached_pid{0};

void forget_pid() { cached_pid.store(0, std::memory_order_relaxed); }

int read_pid() {
  static const bool registered = (pthread_atfork(nullptr, nullptr, forget_pid), true);
  (void)registered;
  const int pid = static_cast<int>(getpid());
  cached_pid.store(pid, std::memory_order_relaxed);
  return pid;
}

}  // namespace

int process_id() {
  const int pid = cached_pid.load(std::memory_order_relaxed);
  return pid != 0 ? pid : read_pid();
}

unsigned thread_id() { return static_cast<unsigned>(pthread_self()); }

// ---- Console echo.

void echo_narrow(const char* text) { fputs(text, stdout); }

void echo_wide_as_narrow(const wchar_t* text) {
  fputs(reinterpret_cast<const char*>(text), stdout);
}

// The 80 KB conversion buffer is the thread's scratch, not a stack frame.
void echo_widened(const char* line) {
  Log_Scratch wide(Scratch_Kind::wide_text);
  if (wide.data() != nullptr) echo_wide_as_narrow(widen_text(line, wide.wide()));
}

// ---- The log file's directory.

namespace {

// Both separators count, in configured names and in the path buffers.
bool is_sep(char c) { return c == '/' || c == '\\'; }

bool is_dir(const char* path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

void make_log_dir(const char* file_name) {
  if (file_name == nullptr) return;
  // Working copy of at most 259 characters; a longer name is looked at only
  // up to there, which still yields genuine ancestors of the file.
  char dir[kMaxPath];
  size_t len = 0;
  size_t start = 0;
  if (file_name[0] == '\\' && file_name[1] == '\\') {
    dir[0] = dir[1] = '\\';
    len = start = 2;
  }
  for (const char* p = file_name + start; *p != '\0' && len < sizeof dir - 1; ++p) {
    if (is_sep(*p)) {
      if (len > start && dir[len - 1] == '/') continue;  // a run of separators counts once
      dir[len++] = '/';
    } else {
      dir[len++] = *p;
    }
  }
  dir[len] = '\0';

  char* last = strrchr(dir + start, '/');
  if (last == nullptr) return;
  *last = '\0';
  len = static_cast<size_t>(last - dir);
  if (len == 0 || is_dir(dir)) return;

  size_t skip = 0;
  if (start == 2) skip = 2;
  else if (dir[1] == ':' && len > 2) skip = 3;
  for (size_t i = skip; i <= len; ++i) {
    if (i < len && dir[i] != '/') continue;
    if (i == 0) continue;  // the root of an absolute path
    const char saved = dir[i];
    dir[i] = '\0';
    const bool ok = is_dir(dir) || mkdir(dir, 0755) == 0;
    dir[i] = saved;
    if (!ok) return;
  }
}

// ---- Path texts.

namespace {

bool starts_with_two_backslashes(const char* t, std::size_t len) {
  return len >= 2 && t[0] == '\\' && t[1] == '\\';
}

// Rewrites t[0, len) in place and returns the new length.  The compacted
// text is written behind the read position, so it never overtakes it.
std::size_t collapse_separators(char* t, std::size_t len) {
  const std::size_t start = starts_with_two_backslashes(t, len) ? 2 : 0;
  std::size_t out = start;
  bool prev_sep = false;
  bool dropped = false;
  for (std::size_t in = start; in < len; ++in) {
    const bool sep = is_sep(t[in]);
    if (sep && prev_sep) {
      dropped = true;
      continue;
    }
    t[out++] = sep ? '/' : t[in];
    prev_sep = sep;
  }
  if (dropped && start != 0) {
    // A run was collapsed: the text becomes the scanned part alone.
    std::memmove(t, t + start, out - start);
    out -= start;
  }
  return out;
}

}  // namespace

bool is_absolute_path(const char* path) {
  if (path == nullptr) return false;
  return path[0] == '/' || starts_with_two_backslashes(path, std::strlen(path)) ||
         std::strchr(path, ':') != nullptr;
}

void normalize_path(std::string& path) {
  if (path.empty()) return;
  path.resize(collapse_separators(&path[0], path.size()));
}

bool resolve_relative_path(std::string& path) {
  if (is_absolute_path(path.c_str())) return false;
  // The module directory is empty here, so the joined length is the name's.
  if (path.size() > kMaxPath) return false;
  normalize_path(path);
  return true;
}

void normalize_separators(char* path) {
  if (path == nullptr) return;
  const std::size_t len = collapse_separators(path, std::strlen(path));
  path[len] = '\0';
}

}  // namespace KAVRI_LOG
