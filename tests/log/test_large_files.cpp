// Logs and log folders past the limits of 32-bit file offsets: a live log
// over 2 GiB and a folder whose listing carries 64-bit offsets.  A 32-bit
// build without 64-bit file offsets fails both with EOVERFLOW.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <list>

#include "log/find_files.h"
#include "log_test_util.h"

namespace {

constexpr int64_t kGiB = int64_t{1} << 30;

int64_t file_size(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}

// True when the folder's raw listing holds an offset that a 32-bit
// readdir() without large-file support could not return.
bool listing_has_64bit_offsets(const std::string& dir) {
  struct Raw {
    uint64_t ino;
    int64_t off;
    unsigned short reclen;
    unsigned char type;
    char name[1];
  };
  const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY);
  if (fd < 0) return false;
  alignas(8) char buf[16384];
  bool wide = false;
  for (long n; (n = syscall(SYS_getdents64, fd, buf, sizeof buf)) > 0;) {
    for (long at = 0; at < n;) {
      const Raw* e = reinterpret_cast<const Raw*>(buf + at);
      wide = wide || e->off > INT32_MAX || e->ino > UINT32_MAX;
      at += e->reclen;
    }
  }
  close(fd);
  return wide;
}

TEST(LargeFiles, ALogOver2GiBIsBackedUpByTheFirstRecord) {
  Temp_Dir dir;
  const std::string live = dir.write("tavn.log", "an old run\n");
  ASSERT_EQ(0, truncate(live.c_str(), 3 * kGiB)) << "sparse 3 GiB file";
  Test_Cfg cfg = make_cfg(live);
  cfg.max_size_ = 10485760;
  Test_Logger log;
  ASSERT_EQ(0, log.open(&cfg, nullptr, nullptr));
  log.log_error("the first record");
  log.close();

  std::list<std::string> backups;
  ASSERT_EQ(0, KAVRI_LOG::find_files(dir.file().c_str(), "tavn_*.log", backups, false));
  ASSERT_EQ(1u, backups.size());
  EXPECT_GT(file_size(backups.front()), 3 * kGiB);
  const std::string text = read_file(live);
  EXPECT_LT(text.size(), 4096u);
  EXPECT_NE(text.find("Continued-Time"), std::string::npos) << text;
  EXPECT_NE(text.find("the first record"), std::string::npos) << text;
  EXPECT_EQ(text.find("Created-Time"), std::string::npos) << text;
}

// Enough entries that the file system indexes the folder and hands out
// hashed offsets (ext4 does so to 64-bit processes, and so to a 32-bit
// program under user-mode emulation).
TEST(LargeFiles, BackupSearchAndPruningReadAFolderWith64BitOffsets) {
  Opened_Logger<> o([](Test_Cfg& cfg) { cfg.max_count_ = 300; }, "tavn.log");
  char name[64];
  for (int i = 0; i < 300; ++i) {
    std::snprintf(name, sizeof name, "tavn_2001-01-01_00-%02d-%02d.log", i / 60, i % 60);
    o.dir.write(name, "old\n");
    o.dir.write("other" + std::to_string(i) + ".txt", "not a backup\n");
  }
  if (listing_has_64bit_offsets(o.dir.path())) std::printf("[   NOTE   ] this folder's listing has 64-bit offsets\n");
  std::list<std::string> found;
  ASSERT_EQ(0, KAVRI_LOG::find_files(o.dir.file().c_str(), "tavn_*.log", found, false));
  EXPECT_EQ(300u, found.size());

  // One rotation at the count: one old backup goes, the oldest stays.
  ASSERT_EQ(0, o.log.back_file());
  found.clear();
  ASSERT_EQ(0, KAVRI_LOG::find_files(o.dir.file().c_str(), "tavn_*.log", found, false));
  EXPECT_EQ(300u, found.size());
  EXPECT_EQ(0, access(o.dir.file("tavn_2001-01-01_00-00-00.log").c_str(), F_OK));
  EXPECT_NE(0, access(o.dir.file("tavn_2001-01-01_00-00-01.log").c_str(), F_OK));
}

}  // namespace
