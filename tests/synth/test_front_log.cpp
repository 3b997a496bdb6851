// What the front end writes to ./tavn.log: traces, closing records and the
// driver's messages, configured by ./tavn.cfg in the working directory.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "engines/scripted/scripted_engine.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"
#include "synth/tavn_logger.h"
#include "synth/tts_module.h"
#include "tests/support/test_support.h"

using tavn::synth::ERR_EMPTY_INPUT;
using tavn::synth::ERR_EXCEPTION;
using tavn::synth::ERR_NULL_INPUT;
using tavn::synth::ERR_OPEN_FILE;
using tavn::synth::ERR_SYNCH_BUFFER;
using tavn::synth::tavn_logger_open;
using tavn::synth::TTSModule;

namespace {

// Each test is its own process (one per test in CTest): it moves into a
// fresh directory with a ./tavn.cfg before the first request opens the log.
class FrontLog : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(chdir(dir_.path().c_str()), 0);
    write_file("tavn.cfg", "[logger]\nlevel = all\nflush = 1\n");
    scripted::reset();
  }
  std::string log() const { return read_file(dir_.file("tavn.log")); }
  Temp_Dir dir_;
};

TEST_F(FrontLog, NarrowEntryTracesAndClosingRecords) {
  ASSERT_EQ(TalvernSynth("Hello.", false, "a.wav", "c1", "c2", "p=1"), 0u);
  std::string text(300, 't');
  ASSERT_EQ(TalvernSynth(text.c_str(), false, "a.wav", nullptr, "c2", nullptr), 0u);
  ASSERT_EQ(TalvernSynth(nullptr, false, "a.wav", nullptr, nullptr, nullptr), ERR_NULL_INPUT);
  std::string s = log();
  // The first request opens the log: it has no enter trace.
  EXPECT_EQ(count(s, "TalvernSynth | enter."), 2u);
  EXPECT_EQ(count(s, "TalvernSynth | leave."), 3u);
  EXPECT_NE(s.find("[INF]"), std::string::npos);
  EXPECT_NE(s.find("TalvernSynth(Hello.,text,a.wav,c1,c2,p=1) complete successfully!"), std::string::npos);
  EXPECT_NE(s.find("TalvernSynth(" + std::string(256, 't') +
                   ",text,a.wav,(null),c2,(null)) "
                   "complete successfully!"),
            std::string::npos);
  EXPECT_EQ(count(s, "complete successfully!"), 2u);
  EXPECT_NE(s.find("[ERR]"), std::string::npos);
  EXPECT_EQ(count(s, "input NULL string ptr."), 1u);
  EXPECT_EQ(count(s, "Successfully connect to TTS engine."), 2u);
  EXPECT_EQ(count(s, "Successfully disconnect from TTS engine."), 2u);
  EXPECT_NE(s.find("Subject :    Talvern Logging"), std::string::npos);
}

TEST_F(FrontLog, WideEntryTracesItsOwnNameAndSharesTheMessages) {
  ASSERT_EQ(TalvernSynthW(L"Hi.", true, L"w.wav", L"", L"", L""), ERR_OPEN_FILE);
  ASSERT_EQ(TalvernSynthW(L"Hi.", false, L"w.wav", L"", L"", L""), 0u);
  EXPECT_THROW(TalvernSynthW(nullptr, false, L"w.wav", L"", L"", L""), std::logic_error);
  std::string s = log();
  EXPECT_EQ(count(s, "TalvernSynthW | enter."), 2u);
  EXPECT_EQ(count(s, "TalvernSynthW | leave."), 3u);
  EXPECT_EQ(count(s, "Cannot open text file Hi. for read."), 1u);
  EXPECT_EQ(count(s, "TalvernSynth(Hi.,text,w.wav,,,) complete successfully!"), 1u);
  EXPECT_EQ(count(s, "TalvernSynthW("), 0u);
}

TEST_F(FrontLog, SynchAndDriverEntriesWriteNoTraces) {
  char buf[2048];
  char* p = buf;
  ASSERT_EQ(TavnSynthSyn("A.", false, "s.wav", nullptr, nullptr, nullptr, "u", &p, 2047), 0u);
  ASSERT_EQ(Talvern_Impl("A.", false, "d.wav", nullptr, nullptr, nullptr, nullptr), 0u);
  std::string s = log();
  EXPECT_EQ(count(s, "| enter."), 0u);
  EXPECT_EQ(count(s, "| leave."), 0u);
  EXPECT_EQ(count(s, "complete successfully!"), 0u);
  EXPECT_EQ(count(s, "Successfully connect to TTS engine."), 2u);
}

void open_then_throw() {
  tavn_logger_open();
  throw std::runtime_error("start-up failed");
}

TEST_F(FrontLog, ExceptionBecomesACodeAndAnErrorRecord) {
  TTSModule::set_logger_opener(open_then_throw);
  EXPECT_EQ(TalvernSynth("Boom.", true, "b.wav", "c1", "c2", "p"), ERR_EXCEPTION);
  EXPECT_EQ(TalvernSynthW(L"Boom.", false, L"b.wav", L"", L"", L""), ERR_EXCEPTION);
  std::string s = log();
  EXPECT_EQ(count(s, "TalvernSynth(Boom.,file,b.wav,c1,c2,p) raise exception!!!"), 1u);
  EXPECT_EQ(count(s, "TalvernSynth(Boom.,text,b.wav,,,) raise exception!!!"), 1u);
  EXPECT_EQ(count(s, "| leave."), 2u);
  EXPECT_EQ(scripted::record().initialize, 0);
}

TEST_F(FrontLog, DriverMessagesCarryTheirCodes) {
  scripted::fail(scripted::Op::FetchNext, 0x80003333u);
  scripted::fail(scripted::Op::Disconnect, 0x80004444u);
  EXPECT_EQ(Talvern_Impl("x", false, "f.wav", nullptr, nullptr, "5=101", nullptr), 0x80003333u);
  scripted::reset();
  scripted::fail(scripted::Op::SetParam, 0x80000005u);
  EXPECT_EQ(Talvern_Impl("x", false, "c.wav", nullptr, nullptr, "5=103", nullptr), 0u);
  scripted::fail(scripted::Op::Connect, 0x80005555u);
  EXPECT_EQ(Talvern_Impl(std::string(70000, 'x').c_str(), false, "f.wav", nullptr, nullptr, nullptr, nullptr),
            0x80005555u);
  scripted::reset();
  char buf[16];
  char* p = buf;
  EXPECT_EQ(TavnSynthSyn("A.", false, "s.wav", nullptr, nullptr, nullptr, "u", &p, 15), ERR_SYNCH_BUFFER);
  const std::string s = log();
  for (const char* message :
       {"TTSFetchNext() return error, errcode = 0x80003333.", "TTSSynth2File() function return errcode 0x80003333.\n",
        "Disconnect from TTS Server failed, errcode 0x80004444.\n",
        "Talvern_Impl TTSSetSynthParam(5(AudioHeadFmt),3) function return errcode 0x80000005.",
        "ConvertToNMSVceFile failed, errcode 0xffffffff.\n", "Input text size is bigger than max input size.",
        "TTSConnect() function return errcode 0x80005555.",
        "The buffer size for saving synch information  is too small"}) {
    SCOPED_TRACE(message);
    EXPECT_EQ(count(s, message), 1u) << message;
  }
  EXPECT_EQ(count(s, "[WAN]"), 2u);
}

// A failed engine start is kept for good and reported on every request;
// at exit the tail block closes the log, then the engine is stopped.
TEST_F(FrontLog, FailedEngineStartAndTheExitHook) {
  pid_t pid = fork();
  if (pid == 0) {
    setenv("SCRIPTED_ENGINE_INIT_RESULT", "0x80001000", 1);
    setenv("SCRIPTED_ENGINE_UNINIT_MARK", "uninit.mark", 1);
    for (int i = 0; i < 3; ++i)
      if (TalvernSynth("x", false, "e.wav", nullptr, nullptr, nullptr) != 0) exit(2);
    exit(scripted::record().initialize == 1 ? 0 : 3);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(WEXITSTATUS(status), 0);
  std::string s = log();
  EXPECT_EQ(count(s, "Cannot load libkavritts.so TTS module, errcode=0x80001000."), 3u);
  size_t tail = s.rfind("\tTalvern Logging End-Time");
  ASSERT_NE(tail, std::string::npos);
  EXPECT_EQ(s.find("TalvernSynth | leave.", tail), std::string::npos);  // nothing after the tail
  EXPECT_EQ(read_file(dir_.file("uninit.mark")), "uninitialize\n");
}

TEST_F(FrontLog, DefaultLevelWritesOnlyErrorsAndWarnings) {
  write_file("tavn.cfg", "[logger]\nflush = 1\n");
  ASSERT_EQ(TalvernSynth("x", false, "a.wav", nullptr, nullptr, nullptr), 0u);
  ASSERT_EQ(TalvernSynth("", false, "a.wav", nullptr, nullptr, nullptr), ERR_EMPTY_INPUT);
  std::string s = log();
  EXPECT_EQ(count(s, "| enter."), 0u);
  EXPECT_EQ(count(s, "complete successfully!"), 0u);
  EXPECT_EQ(count(s, "input ZERO size string buffer."), 1u);
}

}  // namespace
