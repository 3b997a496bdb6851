// Log_IO_FILE and the lock classes.
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>

#include "log/log_io_file.h"
#include "log/log_thread_mutex.h"
#include "log/log_win32_process_mutex.h"
#include "log_core_test_util.h"

namespace {

TEST(LogIoFile, OpenModesAppendAndOnlyMode0AddsLineFeed) {
  struct Case {
    int mode;
    const char* before;
    const char* after;  // after writing "x"
  } cases[] = {
      {0, "old", "old\nx"},   {0, "old\n", "old\nx"}, {0, "", "x"},
      {1, "old", "oldx"},     {2, "old", "oldx"},     {3, "old", "oldx"},
      {7, "old", "oldx"},  // unknown modes open like 0 but add no line feed
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.mode);
    Temp_Dir dir;
    const std::string path = dir.file("a.log");
    write_file(path, c.before);
    Log_IO_FILE io;
    ASSERT_EQ(0, io.open(path.c_str(), nullptr, c.mode, nullptr));
    EXPECT_GE(io.write("x"), 0);
    io.close();
    EXPECT_EQ(c.after, read_file(path));
  }
}

TEST(LogIoFile, OpenFailureReturnsErrnoAndStoresNothing) {
  Log_IO_FILE io;
  EXPECT_EQ(ENOENT, io.open("/nonexistent-dir/x/a.log", nullptr, 0, nullptr));
  EXPECT_EQ(nullptr, io.handle());
  EXPECT_EQ(EINVAL, io.open(nullptr, nullptr, 0, nullptr));
}

TEST(LogIoFile, ClosedObjectDoesNothing) {
  Temp_Dir dir;
  Log_IO_FILE io;
  EXPECT_EQ(0, io.write("text"));
  EXPECT_EQ(0, io.write(L"text"));
  EXPECT_EQ(0, io.write("abc", 3));
  EXPECT_EQ(0, io.size());
  EXPECT_EQ(-1, io.empty());
  EXPECT_EQ(0, io.flush());
  EXPECT_EQ(0, io.close());
}

TEST(LogIoFile, WritesAppendAndSizeKeepsPosition) {
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
  EXPECT_GE(io.write("n"), 0);
  EXPECT_EQ(14, io.size());
  io.flush();
  EXPECT_EQ("0123456789abwn", read_file(path));
  EXPECT_EQ(0, io.empty());
  EXPECT_EQ(0, io.size());
  EXPECT_GE(io.write("z"), 0);
  io.close();
  EXPECT_EQ("z", read_file(path));
}

TEST(LogIoFile, NarrowAndWideWritesMix) {
  Temp_Dir dir;
  const std::string path = dir.file("a.log");
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), nullptr, 0, nullptr));
  io.write("narrow ");
  EXPECT_EQ(1, io.write(L"wide "));
  io.write("narrow");
  // Characters the locale cannot express stop the wide write there.
  const char* old = setlocale(LC_CTYPE, nullptr);
  const std::string saved = old ? old : "C";
  setlocale(LC_CTYPE, "C");
  EXPECT_EQ(-1, io.write(L" ok\u4e2dgone"));
  setlocale(LC_CTYPE, saved.c_str());
  io.close();
  EXPECT_EQ("narrow wide narrow ok", read_file(path));
}

TEST(LogIoFile, BackupWithOwnNameInOtherCaseTruncatesInPlace) {
  Temp_Dir dir;
  const std::string path = dir.file("Run.log");
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), nullptr, 0, nullptr));
  io.write("old records\n");
  io.flush();
  EXPECT_EQ(0, io.backup(dir.file("RUN.LOG").c_str()));
  EXPECT_NE(nullptr, io.handle());
  io.write("new\n");
  io.close();
  EXPECT_EQ("new\n", read_file(path));
  EXPECT_FALSE(exists(dir.file("RUN.LOG")));
}

TEST(LogIoFile, BackupWithOtherNameRenamesAndReopens) {
  Temp_Dir dir;
  const std::string path = dir.file("run.log");
  const std::string old = dir.file("run_old.log");
  Log_Thread_Mutex lock;
  Log_IO_FILE io;
  ASSERT_EQ(0, io.open(path.c_str(), &lock, 3, nullptr));
  io.write("old records\n");
  EXPECT_EQ(0, io.backup(old.c_str()));
  EXPECT_EQ(&lock, io.mutex());
  EXPECT_EQ(path, io.file_name());
  io.write("new\n");
  io.close();
  EXPECT_EQ("old records\n", read_file(old));
  EXPECT_EQ("new\n", read_file(path));
  EXPECT_EQ(EINVAL, io.backup(nullptr));
}

TEST(LogIoFile, AccessorsKeepWhatTheyAreGiven) {
  Log_IO_FILE io;
  Log_Win32_Process_Mutex lock;
  Test_Cfg cfg;
  EXPECT_EQ(nullptr, io.mutex());
  EXPECT_EQ(nullptr, io.config());
  io.mutex(&lock);
  io.config(&cfg);
  EXPECT_EQ(&lock, io.mutex());
  EXPECT_EQ(&cfg, io.config());
}

TEST(LogLocks, ThreadMutexLocksAndWin32MutexDoesNothing) {
  Log_Thread_Mutex thread_lock;
  EXPECT_EQ(-1, thread_lock.acquire(-1));  // not open yet
  EXPECT_EQ(0, thread_lock.open("ignored"));
  EXPECT_EQ(nullptr, thread_lock.name());
  EXPECT_EQ(0, thread_lock.acquire(-1));
  EXPECT_EQ(0, thread_lock.release());
  EXPECT_EQ(0, thread_lock.open(nullptr));  // reopening replaces the mutex
  EXPECT_EQ(0, thread_lock.close(true));
  EXPECT_EQ(-1, thread_lock.release());

  Log_Win32_Process_Mutex process_lock;
  EXPECT_EQ(0, process_lock.open("Kavri_Logger_Mutex_x"));
  EXPECT_STREQ("", process_lock.name());
  EXPECT_EQ(0, process_lock.acquire(-1));
  EXPECT_EQ(0, process_lock.release());
  EXPECT_EQ(0, process_lock.close(false));
}

}  // namespace
