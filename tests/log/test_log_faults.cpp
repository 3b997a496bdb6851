// The logger under faults and load: an allocation failing while the lock is
// held leaves the exception to the caller and the lock free for the next
// record on another thread; the configuration re-check changing settings
// while other threads write records loses none of them.
#include <gtest/gtest.h>
#include <utime.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "log_test_util.h"

namespace {

// The next allocation of this size on this thread fails (SIZE_MAX: of any
// size; 0: none).
thread_local size_t fail_size = 0;

}  // namespace

void* operator new(size_t n) {
  if (fail_size != 0 && (fail_size == SIZE_MAX || fail_size == n)) {
    fail_size = 0;
    throw std::bad_alloc();
  }
  if (void* p = std::malloc(n != 0 ? n : 1)) return p;
  throw std::bad_alloc();
}
// These are the replacements of the two deletes: malloc above, free here.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

// Runs `work` on another thread; a record that does not complete within ten
// seconds means the lock was left held: the test process ends there.
template <class F>
void completes_on_another_thread(F work) {
  std::atomic<bool> done{false};
  std::thread t([&] {
    work();
    done = true;
  });
  for (int i = 0; i < 1000 && !done; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (!done) {
    ADD_FAILURE() << "the lock stayed held";
    std::_Exit(1);
  }
  t.join();
}

void set_mtime(const std::string& path, time_t t) {
  const struct utimbuf times = {t, t};
  utime(path.c_str(), &times);
}

TEST(LogFaults, AllocationFailingUnderTheLockLeavesItFree) {
  // Inside the re-check: the copy of the live record cannot be allocated.
  {
    Opened_Logger<> o([](Test_Cfg& cfg) { cfg.style_ = 256; });
    const std::string cfg_file = o.dir.write("t.cfg", "[logger]\nlevel = all\n");
    o.log.cfg_.cfg_file_ = cfg_file;
    set_mtime(cfg_file, 1000000);
    o.log.last_cfg_check = 0;
    fail_size = SIZE_MAX;
    EXPECT_THROW(o.log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "lost\n"), std::bad_alloc);
    EXPECT_EQ(0u, fail_size);  // the failure was used up there
    completes_on_another_thread([&] { o.log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "written\n"); });
    o.log.close();
    EXPECT_EQ("written\n", o.text());
  }
  // Inside open: the output object cannot be allocated.
  {
    Temp_Dir dir;
    Test_Cfg cfg = make_cfg(dir.file("o.log"));
    cfg.style_ = 256;
    Test_Logger log;
    fail_size = sizeof(Test_IO);
    EXPECT_THROW(log.open(&cfg, nullptr, nullptr), std::bad_alloc);
    EXPECT_TRUE(log.mutex_ != nullptr && log.io_ == nullptr);  // failed at the output object
    completes_on_another_thread([&] {
      log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "nowhere\n");
      EXPECT_EQ(0, log.open(&cfg, nullptr, nullptr));
      log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, "written\n");
    });
    log.close();
    EXPECT_EQ("written\n", read_file(cfg.file_name_));
  }
}

// One thread keeps changing the configuration file and forcing the re-check
// while others write narrow and wide records: every record arrives whole
// (the level in both files keeps errors; wide records are narrowed).
TEST(LogFaults, ReCheckWhileThreadsLog) {
  Opened_Logger<> o([](Test_Cfg& cfg) {
    cfg.style_ = 256;
    cfg.charset_ = 1;
  });
  const std::string cfg_file = o.dir.file("t.cfg");
  o.log.cfg_.cfg_file_ = cfg_file;
  constexpr int kThreads = 4, kRecords = 2000;
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    for (int i = 0; !stop; ++i) {
      // Replaced whole (the reader takes a pass over the file per key), and
      // in numbers, which a single pass reads.
      const std::string next = cfg_file + ".new";
      write_file(next,
                 i % 2 ? "[logger]\nlevel = 255\nstyle = 256\nflush = 1\n" : "[logger]\nlevel = 2\nstyle = 256\n");
      set_mtime(next, 1000000 + i);
      rename(next.c_str(), cfg_file.c_str());
      __atomic_store_n(&o.log.last_cfg_check, 0, __ATOMIC_RELAXED);
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t)
    writers.emplace_back([&, t] {
      for (int i = 0; i < kRecords; ++i) {
        if (t % 2) o.log.log_msg_i(nullptr, LOG_LVL_ERROR, 0, L"wide record\n");
        else o.log.log_error("narrow record\n");
      }
    });
  for (std::thread& w : writers) w.join();
  stop = true;
  changer.join();
  o.log.close();
  const std::string text = o.text();
  size_t narrow = 0, wide = 0, lines = 0;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line); ++lines) {
    narrow += line == "narrow record";
    wide += line == " wide record";  // the wide form puts a blank before the message
  }
  EXPECT_EQ(narrow, static_cast<size_t>(kThreads / 2 * kRecords));
  EXPECT_EQ(wide, static_cast<size_t>(kThreads / 2 * kRecords));
  EXPECT_EQ(lines, narrow + wide);
}

}  // namespace
