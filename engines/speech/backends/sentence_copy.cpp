#include "engines/speech/backends/sentence_copy.h"

#include <new>

#include "engines/speech/engine_codes.h"

namespace tavn::speech {

uint32_t sentence_copy(std::string_view text, std::string* copy, std::vector<int16_t>* out) {
  try {
    copy->assign(text.data(), text.size());
    out->clear();
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  for (char& c : *copy) {
    if (c == '\0') c = ' ';
  }
  return 0;
}

}  // namespace tavn::speech
