/* A C caller of the installed library. */
#include <stdio.h>
#include <tavn.h>

int main(void) {
  uint32_t r = TalvernSynth("Hello from C.", false, "c.wav", NULL, NULL, "voice=x");
  if (r != 0) {
    printf("TalvernSynth: 0x%08x\n", (unsigned)r);
    return 1;
  }
  r = TalvernSynth("", false, "c.wav", NULL, NULL, NULL);
  if (r != TAVN_ERR_EMPTY_INPUT) {
    printf("empty text: 0x%08x\n", (unsigned)r);
    return 1;
  }
  FILE* f = fopen("c.wav", "rb");
  if (!f) return 1;
  fclose(f);
  puts("installed library ok");
  return 0;
}
