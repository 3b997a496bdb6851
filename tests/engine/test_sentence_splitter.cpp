#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/espeak/sentence_splitter.h"

namespace espeak_engine {
namespace {

std::vector<std::string> split(const std::string& text, size_t max_bytes = kMaxSentenceBytes) {
  std::vector<std::string> out;
  Sentence s;
  for (size_t from = 0; next_sentence(text, from, &s, max_bytes) && out.size() <= text.size();
       from = s.end) {
    EXPECT_TRUE(s.begin >= from && s.begin < s.end && s.end <= text.size());
    out.push_back(text.substr(s.begin, s.end - s.begin));
  }
  return out;
}

struct SplitCase {
  const char* name;
  std::string text;
  std::vector<std::string> sentences;
};

TEST(SentenceSplitter, FindsSentences) {
  const SplitCase cases[] = {
      {"blanks and zero bytes only", std::string(" \t\r\n \0 ", 7), {}},
      {"trimmed, no stop", "   hello world  ", {"hello world"}},
      {"three kinds of stop", "One. Two! Three? Four", {"One.", "Two!", "Three?", "Four"}},
      {"runs of stops", "What?! Really... Yes.", {"What?!", "Really...", "Yes."}},
      {"closers stay", "He said \"Hi.\" (See.) Then.", {"He said \"Hi.\"", "(See.)", "Then."}},
      {"no blank after the stop", "Pi is 3.14, e.g., exactly. Next.", {"Pi is 3.14, e.g., exactly.", "Next."}},
      {"line breaks", "Line one.\nLine two\nand more.", {"Line one.", "Line two\nand more."}},
      {"paragraph break", "Title  \n \t \r\nBody", {"Title", "Body"}},
      {"full-width stops need no blank", "你好世界。这是一个测试！好吗？", {"你好世界。", "这是一个测试！", "好吗？"}},
      {"full-width closer and space", "\xE3\x80\x80他说「好。」然后", {"他说「好。」", "然后"}},
  };
  for (const SplitCase& c : cases) EXPECT_EQ(split(c.text), c.sentences) << c.name;
}

TEST(SentenceSplitter, CutsOverlongStretchesWithinTheLimit) {
  const SplitCase cases[] = {
      {"after the last clause mark", "aaa bbb, ccc ddd eee", {"aaa bbb,", "ccc ddd", "eee"}},
      {"at the last blank", "aaaa bbbb cccc dddd", {"aaaa bbbb", "cccc dddd"}},
      {"anywhere without blanks", "abcdefghijklmnopqrstu", {"abcdefghij", "klmnopqrst", "u"}},
      {"never inside a character", "你你你你", {"你你你", "你"}},
      {"full-width comma", "你你，我我我我", {"你你，", "我我我", "我"}},
      {"a stop run longer than the limit", "............", {"..........", ".."}},
  };
  for (const SplitCase& c : cases) EXPECT_EQ(split(c.text, 10), c.sentences) << c.name;

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
}  // namespace espeak_engine
