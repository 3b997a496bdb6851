#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "engines/speech/engine_codes.h"
#include "engines/speech/remote/bearer_token.h"
#include "engines/speech/remote/server_address.h"
#include "tests/support/test_support.h"

namespace tavn::speech {
namespace {

// "unix PATH" or "tcp HOST PORT" as read from `text`, or "refused".
std::string address(const std::string& text) {
  ServerAddress a;
  if (!parse_server_address(text, &a)) return "refused";
  return a.is_unix ? "unix " + a.path : "tcp " + a.host + " " + std::to_string(a.port);
}

TEST(ServerAddress, ReadsTheThreeForms) {
  const struct {
    std::string text, read;
  } cases[] = {
      {"unix:/run/tavn/tavnd.sock", "unix /run/tavn/tavnd.sock"},
      {"127.0.0.1:7010", "tcp 127.0.0.1 7010"},
      {"localhost:1", "tcp 127.0.0.1 1"},
      {"[::1]:65535", "tcp ::1 65535"},
      {"[fe80::1:2]:80", "tcp fe80::1:2 80"},
      {"unix:/" + std::string(106, 'a'), "unix /" + std::string(106, 'a')},  // 107 bytes fit
      {"unix:/" + std::string(107, 'a'), "refused"},
      {"unix:run/tavnd.sock", "refused"},
      {"unix:", "refused"},
      {"", "refused"},
      {"127.0.0.1", "refused"},
      {"127.0.0.1:", "refused"},
      {"127.0.0.1:0", "refused"},
      {"127.0.0.1:65536", "refused"},
      {"127.0.0.1:+80", "refused"},
      {"127.0.0.1:080000", "refused"},
      {"127.1:80", "refused"},
      {"1.2.3.4.5:80", "refused"},
      {" 127.0.0.1:80", "refused"},
      {"tts.example:7010", "refused"},  // names are not looked up
      {"::1:7010", "refused"},
      {"[::1]7010", "refused"},
      {"[127.0.0.1]:80", "refused"},
      {std::string("127.0.0.1\0:80", 13), "refused"},
  };
  for (const auto& c : cases) EXPECT_EQ(address(c.text), c.read) << c.text;
}

TEST(BearerToken, ReadsTheFirstLineOfItsFile) {
  Temp_Dir dir;
  const struct {
    std::string content;  // of the token file; "-" for no file
    std::string token;    // or the failure's name
  } cases[] = {
      {"abc.DEF-123_~\n", "abc.DEF-123_~"},
      {"tok \t\r\nsecond line\n", "tok"},
      {"no-line-end", "no-line-end"},
      {std::string(kMaxTokenBytes, 'x') + "\r\n", std::string(kMaxTokenBytes, 'x')},
      {std::string(kMaxTokenBytes + 1, 'x'), "ENGINE_ERR_BAD_VALUE"},
      {"", "ENGINE_ERR_BAD_VALUE"},
      {"\nafter an empty line", "ENGINE_ERR_BAD_VALUE"},
      {"in side", "ENGINE_ERR_BAD_VALUE"},
      {"caf\xc3\xa9", "ENGINE_ERR_BAD_VALUE"},
      {std::string("a\0b", 3), "ENGINE_ERR_BAD_VALUE"},
      {"-", "ENGINE_ERR_BAD_VALUE"},
  };
  for (const auto& c : cases) {
    const std::string path = c.content == "-" ? dir.file("missing") : dir.write("t", c.content);
    std::string token = "stale";
    const uint32_t r = read_bearer_token(path, &token);
    EXPECT_EQ(r == 0 ? token : find_engine_code(r)->name, c.token) << c.content;
    if (r != 0) {
      EXPECT_EQ(token, "");
    }
  }
  // Without a file named, the environment names it; neither: no token.
  setenv(kTokenFileVariable, dir.write("env", "from-env\n").c_str(), 1);
  std::string token;
  EXPECT_EQ(read_bearer_token("", &token), 0u);
  EXPECT_EQ(token, "from-env");
  setenv(kTokenFileVariable, "", 1);
  EXPECT_EQ(read_bearer_token("", &token), 0u);
  EXPECT_EQ(token, "");
  unsetenv(kTokenFileVariable);
}

}  // namespace
}  // namespace tavn::speech
