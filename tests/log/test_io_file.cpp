// Log_IO_FILE: modes, size, backup and descriptors.  fdopen is replaced in this program so
// that it can be made to fail.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>

#include "log/log_mutex.h"
#include "log_test_util.h"

namespace {
bool fail_fdopen = false;
}  // namespace

extern "C" FILE* fdopen(int fd, const char* mode) {
  static auto real = reinterpret_cast<FILE* (*)(int, const char*)>(dlsym(RTLD_NEXT, "fdopen"));
  if (!fail_fdopen) return real(fd, mode);
  errno = ENOMEM;
  return nullptr;
}

namespace {

TEST(LogIoFile, ModesAlwaysAppendAndOnlyMode0AddsALineFeed) {
  // `after`: the file after writing "x".
  const struct {
    int mode;
    const char *before, *after;
  } cases[] = {{0, "old", "old\nx"}, {0, "old\n", "old\nx"}, {0, "", "x"}, {1, "old", "oldx"}, {7, "old", "oldx"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << c.mode << ", before \"" << c.before << "\"");
    Temp_Dir dir;
    const std::string path = dir.write("a.log", c.before);
    Log_IO_FILE io;
    ASSERT_EQ(0, io.open(path.c_str(), nullptr, c.mode, nullptr));
    EXPECT_GE(io.write("x"), 0);
    io.close();
    EXPECT_EQ(c.after, read_file(path)) << c.mode;
  }
  Log_IO_FILE io;
  EXPECT_EQ(ENOENT, io.open("/nonexistent-dir/a.log", nullptr, 0, nullptr));
  EXPECT_TRUE(io.handle() == nullptr && io.write("closed") == 0 && io.size() == 0 && io.empty() == -1);
}

// size() and empty() see text still in the stream's buffer; narrow and
// wide writes mix on one stream.
TEST(LogIoFile, SizeEmptyAndMixedWrites) {
  Temp_Dir dir;
  const std::string path = dir.write("a.log", "0123456789");
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), nullptr, 1, nullptr));
  fseek(io.handle(), 3, SEEK_SET);
  EXPECT_EQ(10, io.size());
  EXPECT_EQ(3, ftell(io.handle()));
  EXPECT_EQ(2, io.write("ab\0cd", 2));
  EXPECT_EQ(1, io.write(L"w"));
  io.write("n");
  EXPECT_EQ(14, io.size());
  EXPECT_EQ("0123456789abwn", read_file(path));
  io.write("buffered");
  EXPECT_EQ(0, io.empty());
  EXPECT_EQ(0, io.size());
  const std::string saved = setlocale(LC_CTYPE, nullptr);
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(-1, io.write(L"z\u4e2dgone"));  // stops at what the locale cannot express
  setlocale(LC_CTYPE, saved.c_str());
  io.write("!");
  io.close();
  EXPECT_EQ("z!", read_file(path));
}

// The file's own name in other letter case empties it in place (text still
// buffered included); another name keeps the old text under that name.
TEST(LogIoFile, Backup) {
  for (const char* name : {"RUN.LOG", "run_old.log"}) {
    SCOPED_TRACE(name);
    Temp_Dir dir;
    Log_Thread_Mutex lock;
    Log_IO_FILE io;
    ASSERT_EQ(0, io.open(dir.file("Run.log").c_str(), &lock, 3, nullptr));
    io.write("old\n");
    EXPECT_EQ(0, io.backup(dir.file(name).c_str()));
    EXPECT_EQ(&lock, io.mutex());
    io.write("new\n");
    io.close();
    const bool renamed = name[0] == 'r';
    EXPECT_EQ("new\n", read_file(dir.file("Run.log")));
    EXPECT_EQ(renamed ? "old\n" : "-", std::filesystem::exists(dir.file(name)) ? read_file(dir.file(name)) : "-")
        << name;
  }
}

int lowest_free_fd() {
  const int fd = ::open("/dev/null", O_RDONLY);
  ::close(fd);
  return fd;
}

// Neither a failed fdopen nor a second open leaves a descriptor behind.
TEST(LogIoFile, OpenLeaksNoDescriptor) {
  Temp_Dir dir;
  const int free_fd = lowest_free_fd();
  Log_IO_FILE io;
  fail_fdopen = true;
  EXPECT_EQ(ENOMEM, io.open(dir.file("a.log").c_str(), nullptr, 0, nullptr));
  fail_fdopen = false;
  EXPECT_EQ(nullptr, io.handle());
  EXPECT_EQ(free_fd, lowest_free_fd());
  ASSERT_EQ(0, io.open(dir.file("a.log").c_str(), nullptr, 0, nullptr));
  ASSERT_EQ(0, io.open(dir.file("b.log").c_str(), nullptr, 0, nullptr));
  io.close();
  EXPECT_EQ(free_fd, lowest_free_fd());
}

}  // namespace
