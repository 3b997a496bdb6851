#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/espeak/sentence_splitter.h"

namespace espeak_engine {
namespace {

std::vector<std::string> split(const std::string& text, size_t max_bytes = kMaxSentenceBytes) {
  std::vector<std::string> out;
  Sentence s;
  size_t from = 0;
  while (next_sentence(text, from, &s, max_bytes)) {
    EXPECT_LT(s.begin, s.end);
    EXPECT_LE(s.end, text.size());
    EXPECT_GE(s.begin, from);
    out.push_back(text.substr(s.begin, s.end - s.begin));
    from = s.end;
    if (out.size() > text.size()) break;  // no progress: fail below rather than hang
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
      {"empty", "", {}},
      {"blanks only", " \t\r\n  \n", {}},
      {"zero bytes count as blanks", std::string("\0 \0", 3), {}},
      {"one without stop", "hello world", {"hello world"}},
      {"trimmed", "   Hello world.   ", {"Hello world."}},
      {"three kinds of stop", "One. Two! Three? Four", {"One.", "Two!", "Three?", "Four"}},
      {"runs of stops", "What?! Really... Yes.", {"What?!", "Really...", "Yes."}},
      {"closing quote stays", "He said \"Hi.\" Then left.", {"He said \"Hi.\"", "Then left."}},
      {"closing bracket stays", "(See above.) Next.", {"(See above.)", "Next."}},
      {"decimal point", "Pi is 3.14 exactly. Next.", {"Pi is 3.14 exactly.", "Next."}},
      {"stop before comma", "Use e.g., this. Done.", {"Use e.g., this.", "Done."}},
      {"stop then newline", "Line one.\nLine two.", {"Line one.", "Line two."}},
      {"single newline joins", "a heading\nand more.", {"a heading\nand more."}},
      {"paragraph break ends", "Title\n\nBody text.", {"Title", "Body text."}},
      {"blank line with spaces", "Title  \n \t \r\nBody", {"Title", "Body"}},
      {"chinese stops need no blank", "你好世界。这是一个测试！好吗？",
       {"你好世界。", "这是一个测试！", "好吗？"}},
      {"chinese closer", "他说「好。」然后", {"他说「好。」", "然后"}},
      {"ideographic space trimmed", "\xE3\x80\x80你好。\xE3\x80\x80", {"你好。"}},
      {"stop at the very end", "End.", {"End."}},
  };
  for (const SplitCase& c : cases) {
    EXPECT_EQ(split(c.text), c.sentences) << c.name;
  }
}

TEST(SentenceSplitter, CutsOverlongStretches) {
  const SplitCase cases[] = {
      {"after the last clause mark", "aaa bbb, ccc ddd eee", {"aaa bbb,", "ccc ddd", "eee"}},
      {"at the last blank", "aaaa bbbb cccc dddd", {"aaaa bbbb", "cccc dddd"}},
      {"no blank at all", "abcdefghijklmnopqrstu", {"abcdefghij", "klmnopqrst", "u"}},
      {"never inside a character", "\xE4\xBD\xA0\xE4\xBD\xA0\xE4\xBD\xA0\xE4\xBD\xA0",
       {"\xE4\xBD\xA0\xE4\xBD\xA0\xE4\xBD\xA0", "\xE4\xBD\xA0"}},
      {"full-width comma", "你你，我我我我", {"你你，", "我我我", "我"}},
      {"stop run longer than the limit", "............", {"..........", ".."}},
  };
  for (const SplitCase& c : cases) {
    EXPECT_EQ(split(c.text, 10), c.sentences) << c.name;
  }
}

TEST(SentenceSplitter, EverySentenceWithinTheLimitAndNothingLost) {
  // A long stretch without stops and with broken UTF-8 in it.
  std::string text;
  for (int i = 0; i < 400; ++i) text += (i % 7 == 0) ? "\xE4\xBD " : "word\xFF ";
  std::string joined;
  for (const std::string& s : split(text)) {
    EXPECT_LE(s.size(), kMaxSentenceBytes);
    joined += s;
  }
  std::string non_blank;
  for (char c : text) {
    if (c != ' ') non_blank += c;
  }
  std::string joined_non_blank;
  for (char c : joined) {
    if (c != ' ') joined_non_blank += c;
  }
  EXPECT_EQ(joined_non_blank, non_blank);
}

}  // namespace
}  // namespace espeak_engine
