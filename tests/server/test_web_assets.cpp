#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "server/web/web_assets.h"
#include "tests/support/test_support.h"

namespace tavn::server {
namespace {

TEST(WebAssets, ServesThePageFilesAsWritten) {
  const struct {
    const char *path, *file, *media_type;
  } cases[] = {
      {"/", "index.html", "text/html; charset=utf-8"},
      {"/index.html", "index.html", "text/html; charset=utf-8"},
      {"/style.css", "style.css", "text/css; charset=utf-8"},
      {"/app.js", "app.js", "text/javascript; charset=utf-8"},
  };
  for (const auto& c : cases) {
    const WebAsset* a = find_web_asset(c.path);
    ASSERT_NE(a, nullptr) << c.path;
    EXPECT_EQ(a->body(), read_file(std::string(WEB_DIR) + "/" + c.file)) << c.path;
    EXPECT_STREQ(a->media_type, c.media_type);
    EXPECT_TRUE(std::regex_match(a->etag, std::regex("\"[0-9a-f]{20}\""))) << a->etag;
  }
  for (const char* path : {"", "/index", "/app.js?x=1", "//", "/../CMakeLists.txt", "/web/app.js"})
    EXPECT_EQ(find_web_asset(path), nullptr) << path;
}

// Nothing of the page comes from elsewhere: no address of another site in any file.
TEST(WebAssets, NeedNothingFromTheNetwork) {
  for (const char* path : {"/index.html", "/style.css", "/app.js"}) {
    const std::string body(find_web_asset(path)->body());
    EXPECT_FALSE(std::regex_search(body, std::regex(R"((https?:)?//[a-z0-9.-]+\.[a-z]{2,})", std::regex::icase)))
        << path;
    EXPECT_EQ(body.find("@import"), std::string::npos) << path;
  }
}

}  // namespace
}  // namespace tavn::server
