// Speaks two sentences into hello.wav and prints the synch text.
#include <tavn.h>

#include <cstdio>
#include <vector>

int main() {
  std::vector<char> synch(4096);
  char* p = synch.data();
  const uint32_t r =
      TavnSynthSyn("Hello from C++. Goodbye.", false, "hello.wav", nullptr, nullptr, nullptr,
                   "http://media/hello.wav", &p, static_cast<int>(synch.size() - 1));
  if (r != 0) {
    std::fprintf(stderr, "speech failed: 0x%08x\n", static_cast<unsigned>(r));
    return 1;
  }
  std::puts(synch.data());
  return 0;
}
