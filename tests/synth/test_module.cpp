// The module start-up: once per process, retried when the logger start-up
// throws, and safe when the first requests arrive together.
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
#include "test_util.h"

namespace {

std::atomic<int> opener_calls{0};
void throwing_opener() {
  ++opener_calls;
  throw std::runtime_error("logger start-up failed");
}
void counting_opener() { ++opener_calls; }

// Runs first in this process: nothing has started the module yet.
TEST(Module, ThrowingLoggerStartUpIsRetriedByTheNextRequest) {
  TempDir dir;
  std::string out = dir.file("m.wav");
  TTSModule::set_logger_opener(throwing_opener);
  EXPECT_THROW(Talvern_Impl("x", false, out.c_str(), nullptr, nullptr, nullptr, nullptr),
               std::runtime_error);
  EXPECT_EQ(TalvernSynth("x", false, out.c_str(), nullptr, nullptr, nullptr), ERR_EXCEPTION);
  EXPECT_EQ(scripted::record().initialize, 0);
  EXPECT_EQ(opener_calls.load(), 2);
  EXPECT_FALSE(exists(out));

  // Eight first requests at once: one of them starts the module.
  TTSModule::set_logger_opener(counting_opener);
  opener_calls = 0;
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&, i] {
      std::string o = dir.file("t" + std::to_string(i) + ".wav");
      if (Talvern_Impl("x", false, o.c_str(), nullptr, nullptr, nullptr, nullptr) != 0) ++failures;
    });
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(opener_calls.load(), 1);
  EXPECT_EQ(scripted::record().initialize, 1);

  ASSERT_EQ(Talvern_Impl("x", false, out.c_str(), nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(opener_calls.load(), 1);
  EXPECT_EQ(scripted::record().initialize, 1);
}

}  // namespace
