/* Speaks a sentence into hello.wav. */
#include <stdio.h>
#include <tavn.h>

int main(void) {
  uint32_t r = TalvernSynth("Hello from C.", false, "hello.wav", NULL, NULL, NULL);
  if (r != 0) {
    fprintf(stderr, "speech failed: 0x%08x\n", (unsigned)r);
    return 1;
  }
  r = TalvernSynth("", false, "hello.wav", NULL, NULL, NULL);
  if (r != TAVN_ERR_EMPTY_INPUT) {
    fprintf(stderr, "empty text gave 0x%08x\n", (unsigned)r);
    return 1;
  }
  puts("hello.wav written");
  return 0;
}
