// The logger's text helpers: bounded line building, narrow/wide
// conversions, time stamps and log directory creation.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <regex>
#include <string>

#include "log/log_line.h"
#include "log/log_make_dir.h"
#include "log/log_process.h"
#include "log/log_text_output.h"
#include "log/log_time.h"
#include "log_core_test_util.h"

namespace {

// Restores the locale the test started with.
struct Locale_Scope {
  explicit Locale_Scope(const char* name) : saved_(setlocale(LC_ALL, nullptr)) { setlocale(LC_ALL, name); }
  ~Locale_Scope() { setlocale(LC_ALL, saved_.c_str()); }
  std::string saved_;
};

TEST(LogLine, AppendsStopAtTheBufferAndKeepRoomForTheBreak) {
  struct Case {
    size_t keep;
    const char* first;
    const char* second;
    char reserved;
    const char* result;
  } cases[] = {
      {0, "abc", "def", 0, "abcdefg"},      // 8 bytes: 7 characters fit
      {1, "abc", "defgh", '\n', "abcdef\n"},
      {1, "", "", '\n', "\n"},
      {3, "abcdefgh", "", '\n', "abcd\n"},  // keep_free(3) leaves room for 3
  };
  for (const Case& c : cases) {
    char buf[8];
    Log_Line<char> line(buf, sizeof buf);
    line.keep_free(c.keep);
    line.append(c.first);
    line.append(c.second);
    if (c.reserved != 0) line.append_reserved(c.reserved);
    if (c.keep == 0) line.append("ghijk");
    EXPECT_STREQ(c.result, line.data());
    EXPECT_EQ(strlen(c.result), line.size());
  }
  char buf[16];
  Log_Line<char> line(buf, sizeof buf);
  line.append_hex4(0xabc);
  line.append_hex4(0x12345);
  line.append_padded("ab", 3);
  line.append_padded("long", 2);
  EXPECT_STREQ("0abc12345ab lo", line.data());
  line.append_hex4(0);
  EXPECT_STREQ("0abc12345ab lo0", line.data());  // cut at the buffer's end

  wchar_t wbuf[4];
  Log_Line<wchar_t> wline(wbuf, 4);
  wline.append(L"abcdef");
  EXPECT_STREQ(L"abc", wline.data());
  EXPECT_EQ(L'c', wline.back());
}

TEST(LogTextOutput, WidenFallsBackToSignExtendedBytes) {
  Locale_Scope utf8("C.UTF-8");
  wchar_t out[KAVRI_LOG::kWideTextChars];
  EXPECT_STREQ(L"caf\u00e9", KAVRI_LOG::widen_text("caf\xc3\xa9", out));
  const wchar_t* bad = KAVRI_LOG::widen_text("a\xff", out);  // not UTF-8
  EXPECT_EQ(L'a', bad[0]);
  EXPECT_EQ(static_cast<wchar_t>(-1), bad[1]);
  EXPECT_EQ(L'\0', bad[2]);
  EXPECT_STREQ(L"", KAVRI_LOG::widen_text(std::string(20479, 'x').c_str(), out));
  EXPECT_EQ(20478u, wcslen(KAVRI_LOG::widen_text(std::string(20478, 'x').c_str(), out)));
  EXPECT_STREQ(L"", KAVRI_LOG::widen_text(nullptr, out));
}

TEST(LogTextOutput, NarrowConvertsOrKeepsLowBytes) {
  Locale_Scope utf8("C.UTF-8");
  EXPECT_STREQ("caf\xc3\xa9", KAVRI_LOG::Narrow_Text(L"caf\u00e9").c_str());
  const wchar_t invalid[] = {L'a', static_cast<wchar_t>(0xD800), L'b', 0};  // a lone surrogate
  EXPECT_STREQ("a\x00" "b", KAVRI_LOG::Narrow_Text(invalid).c_str());
  const std::wstring long_text(70000, L'\u00e9');  // 140000 bytes: past the fixed buffer
  const KAVRI_LOG::Narrow_Text narrow(long_text.c_str());
  EXPECT_EQ(140000u, strlen(narrow.c_str()));
  EXPECT_STREQ("", KAVRI_LOG::Narrow_Text(nullptr).c_str());
}

TEST(LogTime, Forms) {
  char buf[KAVRI_LOG::kTimeBufSize];
  struct Case {
    bool file_form, time_only;
    const char* pattern;
  } cases[] = {
      {true, false, R"(\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d)"},
      {true, true, R"(\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d)"},
      {false, true, R"(\d\d:\d\d:\d\d \d{3})"},
      {false, false, R"(\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3})"},
  };
  for (int round = 0; round < 2; ++round) {  // the second round reuses the cached second
    for (const Case& c : cases) {
      EXPECT_EQ(buf, KAVRI_LOG::format_time(buf, c.file_form, c.time_only));
      EXPECT_TRUE(std::regex_match(buf, std::regex(c.pattern))) << buf;
    }
  }
}

TEST(LogMakeDir, CreatesOnlyWhatIsMissing) {
  Temp_Dir dir;
  write_file(dir.file("plain"), "");
  struct Case {
    std::string name;
    std::string made;  // a directory that must exist afterwards, or ""
    std::string absent;
  } cases[] = {
      {dir.path() + "/a\\\\b//c/x.log", dir.path() + "/a/b/c", ""},
      {dir.path() + "/a/b/y.log", dir.path() + "/a/b", ""},  // exists already
      {dir.path() + "/plain/sub/x.log", "", dir.path() + "/plain/sub"},
      {dir.path() + "/d/", dir.path() + "/d", ""},
  };
  for (const Case& c : cases) {
    KAVRI_LOG::make_log_dir(c.name.c_str());
    struct stat st;
    if (!c.made.empty()) {
      EXPECT_EQ(0, stat(c.made.c_str(), &st)) << c.name;
      EXPECT_TRUE(S_ISDIR(st.st_mode)) << c.name;
    }
    if (!c.absent.empty()) {
      EXPECT_FALSE(exists(c.absent)) << c.name;
    }
  }
  KAVRI_LOG::make_log_dir("no-separator.log");  // nothing to create
  KAVRI_LOG::make_log_dir(nullptr);
  KAVRI_LOG::make_log_dir(std::string(1000, '/').c_str());
}

TEST(LogProcess, ForkedChildShowsItsOwnId) {
  EXPECT_EQ(getpid(), KAVRI_LOG::process_id());
  const pid_t child = fork();
  if (child == 0) _exit(KAVRI_LOG::process_id() == getpid() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(getpid(), KAVRI_LOG::process_id());
}

}  // namespace
