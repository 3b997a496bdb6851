#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/speech/text/sentence_splitter.h"

namespace tavn::speech {
namespace {

std::vector<std::string> split(const std::string& text, size_t max_bytes = kMaxSentenceBytes) {
  std::vector<std::string> out;
  Sentence s;
  for (size_t from = 0; next_sentence(text, from, &s, max_bytes) && out.size() <= text.size(); from = s.end) {
    EXPECT_TRUE(s.begin >= from && s.begin < s.end && s.end <= text.size());
    out.push_back(text.substr(s.begin, s.end - s.begin));
  }
  return out;
}

TEST(SentenceSplitter, FindsSentencesAndCutsOverlongOnesWithinTheLimit) {
  const struct {
    size_t max_bytes;
    std::string text;
    std::vector<std::string> sentences;
  } cases[] = {
      {600, std::string(" \t\r\n \0 ", 7), {}},  // blanks and zero bytes only
      {600, "   hello world  ", {"hello world"}},
      {600, "One. Two! Three? Four", {"One.", "Two!", "Three?", "Four"}},
      {600, "What?! Really... Yes.", {"What?!", "Really...", "Yes."}},
      {600, "He said \"Hi.\" (See.) Then.", {"He said \"Hi.\"", "(See.)", "Then."}},
      {600, "Pi is 3.14, e.g., exactly. Next.", {"Pi is 3.14, e.g., exactly.", "Next."}},
      {600, "Line one.\nLine two\nand more.", {"Line one.", "Line two\nand more."}},
      {600, "Title  \n \t \r\nBody", {"Title", "Body"}},  // an empty line
      {600, "你好世界。这是一个测试！好吗？", {"你好世界。", "这是一个测试！", "好吗？"}},
      {600, "\xE3\x80\x80他说「好。」然后", {"他说「好。」", "然后"}},  // full-width closer and blank
      // Over-long: after the last clause mark, else at the last blank, else
      // at the last character boundary.
      {10, "aaa bbb, ccc ddd eee", {"aaa bbb,", "ccc ddd", "eee"}},
      {10, "aaaa bbbb cccc dddd", {"aaaa bbbb", "cccc dddd"}},
      {10, "abcdefghijklmnopqrstu", {"abcdefghij", "klmnopqrst", "u"}},
      {10, "你你你你", {"你你你", "你"}},
      {10, "你你，我我我我", {"你你，", "我我我", "我"}},
      {10, "............", {"..........", ".."}},  // a stop run longer than the limit
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(split(c.text, c.max_bytes), c.sentences) << c.text;
  }

  // Nothing is lost, even in broken UTF-8 without any stop.
  std::string text, kept;
  for (int i = 0; i < 400; ++i) text += (i % 7 == 0) ? "\xE4\xBD " : "word\xFF ";
  for (const std::string& s : split(text)) {
    EXPECT_LE(s.size(), kMaxSentenceBytes);
    kept += s + " ";
  }
  EXPECT_EQ(kept, text);
}

}  // namespace
}  // namespace tavn::speech
