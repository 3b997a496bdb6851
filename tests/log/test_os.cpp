// The logger's path texts (log_os): both separator normalisers.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>

#include "log/log_os.h"

namespace {

TEST(PathNorm, BothNormalisersAgree) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"a//b", "a/b"},
      {"logs\\\\run.log", "logs/run.log"},
      {"sub\\x.log", "sub/x.log"},
      {"./t.log", "./t.log"},
      {"a/\\/b//", "a/b/"},
      {"//x", "/x"},
      {"\\", "/"},
      {"\\\\srv\\x", "\\\\srv/x"},  // a leading pair is kept without a run ...
      {"\\\\srv\\\\x", "srv/x"},    // ... and dropped with one
      {"\\\\\\x", "\\\\/x"},        // one separator after the pair is no run
  };
  for (const auto& [in, out] : cases) {
    SCOPED_TRACE(in);
    std::string s(in);
    KAVRI_LOG::normalize_path(s);
    EXPECT_EQ(s, out) << in;
    char buf[KAVRI_LOG::kMaxPath];
    snprintf(buf, sizeof buf, "%s", in);
    KAVRI_LOG::normalize_separators(buf);
    EXPECT_STREQ(buf, out) << in;
  }
  KAVRI_LOG::normalize_separators(nullptr);
}

}  // namespace
