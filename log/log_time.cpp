#include "log/log_time.h"

#include <sys/time.h>
#include <cstring>
#include <ctime>

namespace KAVRI_LOG {

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

}  // namespace KAVRI_LOG
