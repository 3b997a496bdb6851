// Requests from many threads at once: each gets its own connection and a
// byte-correct file; the engine starts once.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "engines/scripted/scripted_engine.h"
#include "synth/tavn.hpp"
#include "test_util.h"

TEST(Threads, EightThreadsMakeCorrectFiles) {
  using scripted::make_piece;
  scripted::set_script({make_piece(1, 58, 0, 0, 0, 0, 58), make_piece(1, 58, 3000, 0x11),
                        make_piece(1, 58, 5000, 0x11), make_piece(0, 58, 700, 0x11)});
  TempDir dir;
  constexpr int kThreads = 8, kRequests = 25;
  std::vector<std::thread> threads;
  std::vector<int> bad(kThreads, 0);
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRequests; ++i) {
        std::string out = dir.file(std::to_string(t) + "-" + std::to_string(i) + ".wav");
        if (Talvern_Impl("Text.", false, out.c_str(), nullptr, nullptr, nullptr, nullptr) != 0) {
          ++bad[t];
          continue;
        }
        std::vector<uint8_t> f = read_bytes(out);
        bool ok = f.size() == 58 + 8700 && le32(f, 4) == f.size() - 8 && le32(f, 54) == 8700 &&
                  le32(f, 46) == 8700;
        for (size_t b = 58; ok && b < f.size(); ++b) ok = f[b] == 0x11;
        if (!ok) ++bad[t];
      }
    });
  for (std::thread& t : threads) t.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(bad[t], 0) << "thread " << t;
  scripted::Record r = scripted::record();
  EXPECT_EQ(r.initialize, 1);
  EXPECT_EQ(r.connect, kThreads * kRequests);
  EXPECT_EQ(r.open_handles, 0);
}
