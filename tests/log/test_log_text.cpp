// The logger's helpers: bounded lines, narrow/wide conversion, time stamps,
// directory creation and the process id after fork.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <clocale>
#include <regex>

#include "log/log_line.h"
#include "log/log_make_dir.h"
#include "log/log_process.h"
#include "log/log_text_output.h"
#include "log_core_test_util.h"

namespace {

TEST(LogLine, PartsMatchPrintfAndStopAtTheEnd) {
  char buf[16];
  Log_Line<char> line(buf, sizeof buf);
  line.keep_free(1);
  line.append_hex4(0xabc);                   // "%04x"
  line.append_hex4(0x12345);
  line.append_padded("ab", 3);               // "%-3.3s"
  line.append_padded("long", 2);
  line.append("xyz");
  EXPECT_STREQ("0abc12345ab lo", line.data());
  line.append_reserved('\n');
  line.append_reserved('\n');
  EXPECT_STREQ("0abc12345ab lo\n", line.data());
}

TEST(LogTextOutput, ConversionsFallBackBytewise) {
  const std::string saved = setlocale(LC_ALL, "C.UTF-8");
  wchar_t out[KAVRI_LOG::kWideTextChars];
  EXPECT_STREQ(L"caf\u00e9", KAVRI_LOG::widen_text("caf\xc3\xa9", out));
  EXPECT_STREQ(L"a\xffffffff", KAVRI_LOG::widen_text("a\xff", out));  // not UTF-8: sign-extended bytes
  EXPECT_STREQ(L"", KAVRI_LOG::widen_text(std::string(20479, 'x').c_str(), out));
  EXPECT_STREQ("caf\xc3\xa9", KAVRI_LOG::Narrow_Text(L"caf\u00e9").c_str());
  const wchar_t unencodable[] = {L'a', static_cast<wchar_t>(0xD841), 0};  // a lone surrogate
  EXPECT_STREQ("aA", KAVRI_LOG::Narrow_Text(unencodable).c_str());  // low 8 bits
  const std::wstring long_text(70000, L'\u00e9');  // 140000 bytes: past the fixed buffer
  EXPECT_EQ(140000u, strlen(KAVRI_LOG::Narrow_Text(long_text.c_str()).c_str()));
  setlocale(LC_ALL, saved.c_str());
}

TEST(LogTime, Forms) {
  char buf[KAVRI_LOG::kTimeBufSize];
  for (int round = 0; round < 2; ++round) {  // the second round reuses the cached second
    EXPECT_TRUE(std::regex_match(KAVRI_LOG::format_time(buf, true, false), std::regex(R"(\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d)")));
    EXPECT_TRUE(std::regex_match(KAVRI_LOG::format_time(buf, false, true), std::regex(R"(\d\d:\d\d:\d\d \d{3})")));
    EXPECT_TRUE(std::regex_match(KAVRI_LOG::format_time(buf, false, false), std::regex(R"(\d\d/\d\d/\d\d-\d\d:\d\d:\d\d \d{3})")));
  }
}

TEST(LogMakeDir, CreatesOnlyWhatIsMissing) {
  Temp_Dir dir;
  write_file(dir.file("plain"), "");
  const std::pair<std::string, std::string> cases[] = {
      {"/a\\\\b//c/x.log", "/a/b/c"}, {"/a/b/y.log", "/a/b"}, {"/d/", "/d"}, {"/plain/sub/x.log", ""}};
  for (const auto& [name, made] : cases) {
    KAVRI_LOG::make_log_dir((dir.path + name).c_str());
    EXPECT_TRUE(made.empty() || std::filesystem::is_directory(dir.path + made)) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path + "/plain/sub"));
  KAVRI_LOG::make_log_dir(std::string(1000, '/').c_str());  // nothing to create, nothing overrun
}

TEST(LogProcess, ForkedChildShowsItsOwnId) {
  EXPECT_EQ(getpid(), KAVRI_LOG::process_id());
  const pid_t child = fork();
  if (child == 0) _exit(KAVRI_LOG::process_id() == getpid() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
