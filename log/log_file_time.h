// Modification-time text of a file, as shown in a log head block.
#ifndef TAVN_LOG_LOG_FILE_TIME_H_
#define TAVN_LOG_LOG_FILE_TIME_H_

#include <cstddef>

namespace KAVRI_LOG {

// Writes the modification time of `path` as "%Y-%m-%d %H:%M:%S" (local
// time) into `buf` and returns `buf`; " " when the path is empty, cannot be
// examined or has time 0.  `size` must be at least 2.
char* file_time_text(const char* path, char* buf, size_t size);

}  // namespace KAVRI_LOG

#endif  // TAVN_LOG_LOG_FILE_TIME_H_
