// The text the engine benchmarks speak: plain English sentences of a
// committee's day, repeated to about 12 KB (11 minutes of speech); its first
// 450 bytes make the short request.
#ifndef TAVN_BENCH_BENCH_TEXT_H_
#define TAVN_BENCH_BENCH_TEXT_H_

#include <string>

inline std::string long_text() {
  const char* sentences[] = {
      "The committee met on Tuesday to review the budget for the coming year.",
      "Several members asked whether the new library could open before the winter.",
      "After a long discussion, they agreed to publish a detailed plan within a month!",
      "Would the town be able to pay for it without raising taxes?",
      "Nobody could say for certain, but the mood in the room was hopeful.",
      "In the evening, the chairman walked home along the river, thinking about numbers.",
  };
  std::string text;
  for (size_t i = 0; text.size() < 12000; ++i) {
    text += sentences[i % 6];
    text += ' ';
  }
  return text;
}

#endif  // TAVN_BENCH_BENCH_TEXT_H_
