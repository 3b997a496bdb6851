#include "log/log_file_time.h"

#include <sys/stat.h>
#include <cstring>
#include <ctime>

namespace KAVRI_LOG {

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

}  // namespace KAVRI_LOG
