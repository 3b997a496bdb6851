// The module start-up: once per process, retried when the logger start-up
// throws, and safe when the first requests arrive together from many
// threads, each of which gets a byte-correct file.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "synth/tts_module.h"
#include "tests/support/test_support.h"

using tavn::synth::ERR_EXCEPTION;
using tavn::synth::TTSModule;

namespace {

std::atomic<int> opener_calls{0};
void throwing_opener() {
  ++opener_calls;
  throw std::runtime_error("logger start-up failed");
}
void counting_opener() { ++opener_calls; }

bool correct_file(const std::string& path) {
  std::vector<uint8_t> f = read_bytes(path);
  bool ok = f.size() == 58 + 8700 && le32(f, 4) == f.size() - 8 && le32(f, 54) == 8700 && le32(f, 46) == 8700;
  for (size_t b = 58; ok && b < f.size(); ++b) ok = f[b] == 0x11;
  return ok;
}

// Runs first in this process: nothing has started the module yet.
TEST(Module, StartUpRetriedAfterAThrowThenRunOnceForManyThreads) {
  Temp_Dir dir;
  std::string out = dir.file("m.wav");
  TTSModule::set_logger_opener(throwing_opener);
  EXPECT_THROW(Talvern_Impl("x", false, out.c_str(), nullptr, nullptr, nullptr, nullptr), std::runtime_error);
  EXPECT_EQ(TalvernSynth("x", false, out.c_str(), nullptr, nullptr, nullptr), ERR_EXCEPTION);
  EXPECT_EQ(scripted::record().initialize, 0);
  EXPECT_EQ(opener_calls.load(), 2);
  EXPECT_FALSE(exists(out));

  // Eight threads make their first requests at once: one starts the module.
  using scripted::make_piece;
  scripted::set_script(
      {make_piece(1, 58, 0, 0, 0, 0, 58), make_piece(1, 58, 3000), make_piece(1, 58, 5000), make_piece(0, 58, 700)});
  TTSModule::set_logger_opener(counting_opener);
  opener_calls = 0;
  constexpr int kThreads = 8, kRequests = 25;
  std::vector<std::thread> threads;
  std::atomic<int> bad{0};
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRequests; ++i) {
        std::string o = dir.file(std::to_string(t) + "-" + std::to_string(i) + ".wav");
        if (Talvern_Impl("x", false, o.c_str(), nullptr, nullptr, nullptr, nullptr) != 0 || !correct_file(o)) ++bad;
      }
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(bad.load(), 0);
  EXPECT_EQ(opener_calls.load(), 1);
  scripted::Record r = scripted::record();
  EXPECT_EQ(r.initialize, 1);
  EXPECT_EQ(r.connect, kThreads * kRequests);
  EXPECT_EQ(r.open_handles, 0);
}

}  // namespace
