// TalvernSynthW: wide strings converted under the "chs" locale (a GBK
// locale compiled for the test), or the current locale where none exists.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "engines/scripted/scripted_engine.h"
#include "synth/tavn.hpp"
#include "tests/support/test_support.h"

namespace {

class Wide : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    locales_ = new Temp_Dir;
    std::string cmd = "localedef -i zh_CN -f GBK '" + locales_->file("chs") + "' 2>/dev/null";
    have_chs_ = std::system(cmd.c_str()) != -1 && exists(locales_->file("chs"));
  }
  static void TearDownTestSuite() { delete locales_; }
  void SetUp() override {
    scripted::reset();
    std::setlocale(LC_ALL, "C");
  }
  // Points the locale search at the test's folder (with "chs") or at an
  // empty one (without).
  void use_chs(bool on) { setenv("LOCPATH", on ? locales_->path().c_str() : empty_.path().c_str(), 1); }
  static Temp_Dir* locales_;
  static bool have_chs_;
  Temp_Dir dir_, empty_;
};
Temp_Dir* Wide::locales_ = nullptr;
bool Wide::have_chs_ = false;

std::wstring widen(const std::string& ascii) { return std::wstring(ascii.begin(), ascii.end()); }

TEST_F(Wide, ChineseReachesEngineAndFileSystemAsGbk) {
  ASSERT_TRUE(have_chs_) << "localedef could not build a zh_CN GBK locale";
  use_chs(true);
  std::wstring out = widen(dir_.path()) + L"/\u4e2d\u6587.wav";  // 中文.wav
  ASSERT_EQ(TalvernSynthW(L"\u4f60\u597d\u3002", false, out.c_str(), L"c1", L"c2", L"p"), 0u);
  EXPECT_EQ(scripted::record().text, "\xc4\xe3\xba\xc3\xa1\xa3");  // 你好。 in GBK
  EXPECT_TRUE(exists(dir_.path() + "/\xd6\xd0\xce\xc4.wav"));
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");  // restored
}

TEST_F(Wide, WithoutChsTheCurrentLocaleConverts) {
  use_chs(false);
  std::wstring out = widen(dir_.file("w.wav"));
  // "C" cannot encode the Chinese character: the text stops before it.
  ASSERT_EQ(TalvernSynthW(L"ab\u4f60cd", false, out.c_str(), L"", L"", L""), 0u);
  EXPECT_EQ(scripted::record().text, "ab");

  // Under UTF-8 a character takes three bytes: 2 x L + 1 bytes can be filled
  // whole, leaving no terminator; the read stops at the buffer's end.
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  ASSERT_EQ(TalvernSynthW(L"\u4f60\u4f60a", false, out.c_str(), L"", L"", L""), 0u);
  EXPECT_EQ(scripted::record().text,
            "\xe4\xbd\xa0\xe4\xbd\xa0"
            "a");
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
}

TEST_F(Wide, NullStringThrowsAfterTheTrace) {
  std::wstring out = widen(dir_.file("w.wav"));
  const wchar_t* ok = L"x";
  const wchar_t* args[5] = {ok, out.c_str(), ok, ok, ok};
  for (int i = 0; i < 5; ++i) {
    const wchar_t* a[5] = {args[0], args[1], args[2], args[3], args[4]};
    a[i] = nullptr;
    EXPECT_THROW(TalvernSynthW(a[0], false, a[1], a[2], a[3], a[4]), std::logic_error) << i;
  }
  EXPECT_EQ(scripted::record().connect, 0);
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

}  // namespace
