// Log_IO_FILE::open when no stream can be made of the descriptor: the
// descriptor must not leak.  fdopen is replaced in this program so that it
// can be made to fail.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "log_core_test_util.h"

namespace {
bool fail_fdopen = false;
}  // namespace

extern "C" FILE* fdopen(int fd, const char* mode) {
  if (fail_fdopen) {
    errno = ENOMEM;
    return nullptr;
  }
  static auto real = reinterpret_cast<FILE* (*)(int, const char*)>(dlsym(RTLD_NEXT, "fdopen"));
  return real(fd, mode);
}

namespace {

TEST(LogIoFileFdopen, FailureClosesTheDescriptor) {
  Temp_Dir dir;
  const int lowest_free = ::open("/dev/null", O_RDONLY);
  ::close(lowest_free);
  Log_IO_FILE io;
  fail_fdopen = true;
  EXPECT_EQ(ENOMEM, io.open(dir.file("a.log").c_str(), nullptr, 0, nullptr));
  fail_fdopen = false;
  EXPECT_EQ(nullptr, io.handle());
  const int next = ::open("/dev/null", O_RDONLY);
  EXPECT_EQ(lowest_free, next);
  ::close(next);
}

}  // namespace
