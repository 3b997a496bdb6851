#include "log/log_console.h"

#include <cstdio>

#include "log/log_scratch.h"
#include "log/log_text_output.h"

namespace KAVRI_LOG {

void echo_narrow(const char* text) { fputs(text, stdout); }

void echo_wide_as_narrow(const wchar_t* text) {
  fputs(reinterpret_cast<const char*>(text), stdout);
}

// The 80 KB conversion buffer is the thread's scratch, not a stack frame.
void echo_widened(const char* line) {
  Log_Scratch wide(Scratch_Kind::wide_text);
  if (wide.data() != nullptr) echo_wide_as_narrow(widen_text(line, wide.wide()));
}

}  // namespace KAVRI_LOG
