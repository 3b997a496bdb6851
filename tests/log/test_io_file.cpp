// Log_IO_FILE and the lock classes.
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>

#include "log/log_thread_mutex.h"
#include "log_core_test_util.h"

namespace {

TEST(LogIoFile, OpenModesAppendAndOnlyMode0AddsLineFeed) {
  struct Case {
    int mode;
    const char *before, *after;  // after writing "x"
  } cases[] = {
      {0, "old", "old\nx"}, {0, "old\n", "old\nx"}, {0, "", "x"},    {1, "old", "oldx"},
      {2, "old", "oldx"},   {3, "old", "oldx"},     {7, "old", "oldx"},
  };
  for (const Case& c : cases) {
    Temp_Dir dir;
    const std::string path = dir.file("a.log");
    write_file(path, c.before);
    Log_IO_FILE io;
    ASSERT_EQ(0, io.open(path.c_str(), nullptr, c.mode, nullptr));
    EXPECT_GE(io.write("x"), 0);
    io.close();
    EXPECT_EQ(c.after, read_file(path)) << c.mode;
  }
  Log_IO_FILE io;
  EXPECT_EQ(ENOENT, io.open("/nonexistent-dir/a.log", nullptr, 0, nullptr));
  EXPECT_EQ(nullptr, io.handle());
  EXPECT_EQ(0, io.write("closed"));
  EXPECT_EQ(0, io.size());
  EXPECT_EQ(-1, io.empty());
}

TEST(LogIoFile, SizeCountsBufferedTextAndKeepsThePosition) {
  Temp_Dir dir;
  const std::string path = dir.file("a.log");
  write_file(path, "0123456789");
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), nullptr, 1, nullptr));
  fseek(io.handle(), 3, SEEK_SET);
  EXPECT_EQ(10, io.size());
  EXPECT_EQ(3, ftell(io.handle()));
  EXPECT_EQ(2, io.write("ab\0cd", 2));
  EXPECT_EQ(1, io.write(L"w"));
  EXPECT_EQ(13, io.size());
  EXPECT_EQ("0123456789abw", read_file(path));
  EXPECT_EQ(0, io.empty());
  EXPECT_EQ(0, io.size());
  io.write("z");
  io.close();
  EXPECT_EQ("z", read_file(path));
}

TEST(LogIoFile, NarrowAndWideWritesMix) {
  Temp_Dir dir;
  const std::string path = dir.file("a.log");
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), nullptr, 0, nullptr));
  io.write("narrow ");
  io.write(L"wide ");
  io.write("narrow");
  const std::string saved = setlocale(LC_CTYPE, nullptr);
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(-1, io.write(L" ok\u4e2dgone"));  // stops at what the locale cannot express
  setlocale(LC_CTYPE, saved.c_str());
  io.close();
  EXPECT_EQ("narrow wide narrow ok", read_file(path));
}

TEST(LogIoFile, Backup) {
  struct Case {
    const char* backup_name;
    const char* left_behind;  // file holding the old text, or null
  } cases[] = {{"RUN.LOG", nullptr}, {"run_old.log", "run_old.log"}};
  for (const Case& c : cases) {
    Temp_Dir dir;
    const std::string path = dir.file("Run.log");
    Log_Thread_Mutex lock;
    Log_IO_FILE io;
    ASSERT_EQ(0, io.open(path.c_str(), &lock, 3, nullptr));
    io.write("old\n");
    EXPECT_EQ(0, io.backup(dir.file(c.backup_name).c_str()));
    EXPECT_EQ(&lock, io.mutex());
    io.write("new\n");
    io.close();
    EXPECT_EQ("new\n", read_file(path));
    if (c.left_behind != nullptr) {
      EXPECT_EQ("old\n", read_file(dir.file(c.left_behind)));
    }
    EXPECT_EQ(c.left_behind != nullptr, std::filesystem::exists(dir.file(c.backup_name)));
  }
}

TEST(LogLocks, ThreadMutexLocksAndProcessMutexDoesNothing) {
  Log_Thread_Mutex thread_lock;
  EXPECT_EQ(-1, thread_lock.acquire(-1));  // not open yet
  EXPECT_EQ(0, thread_lock.open("ignored"));
  EXPECT_EQ(0, thread_lock.acquire(-1));
  EXPECT_EQ(0, thread_lock.release());
  EXPECT_EQ(0, thread_lock.close(true));
  EXPECT_EQ(-1, thread_lock.release());
  Log_Win32_Process_Mutex process_lock;
  EXPECT_EQ(0, process_lock.open("Kavri_Logger_Mutex_x"));
  EXPECT_STREQ("", process_lock.name());
}

}  // namespace
