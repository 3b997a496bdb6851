// Log_IO_FILE::open when the stream cannot be created: the descriptor it
// opened must not leak.  fdopen is replaced in this test program so that it
// can be made to fail.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cerrno>

#include "log/log_io_file.h"
#include "log_core_test_util.h"

namespace {
bool fail_fdopen = false;
}  // namespace

extern "C" FILE* fdopen(int fd, const char* mode) {
  if (fail_fdopen) {
    errno = ENOMEM;
    return nullptr;
  }
  using Fn = FILE* (*)(int, const char*);
  static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "fdopen"));
  return real(fd, mode);
}

namespace {

TEST(LogIoFileFdopen, FailureClosesTheDescriptor) {
  Temp_Dir dir;
  const std::string path = dir.file("a.log");
  const int probe = ::open("/dev/null", O_RDONLY);  // the lowest free descriptor
  ::close(probe);

  Log_IO_FILE io;
  fail_fdopen = true;
  EXPECT_EQ(ENOMEM, io.open(path.c_str(), nullptr, 0, nullptr));
  fail_fdopen = false;
  EXPECT_EQ(nullptr, io.handle());

  const int next = ::open("/dev/null", O_RDONLY);
  EXPECT_EQ(probe, next);  // the failed open gave its descriptor back
  ::close(next);

  EXPECT_EQ(0, io.open(path.c_str(), nullptr, 0, nullptr));  // the real fdopen still works
}

}  // namespace
