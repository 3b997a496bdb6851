// Large-file guard.  Log files, their folders and text files may pass
// 2 GiB or sit on file systems with 64-bit inode numbers and directory
// offsets; a 32-bit build without 64-bit file offsets fails stat(), open()
// and readdir() there with EOVERFLOW.  Every 32-bit compile of this project
// defines _FILE_OFFSET_BITS=64; this header stops a build that does not.
#ifndef TAVN_LOG_LARGE_FILE_H_
#define TAVN_LOG_LARGE_FILE_H_

#include <sys/types.h>

static_assert(sizeof(off_t) == 8,
              "file offsets must be 64 bits wide: compile with -D_FILE_OFFSET_BITS=64");

#endif  // TAVN_LOG_LARGE_FILE_H_
