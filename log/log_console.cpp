#include "log/log_console.h"

#include <cstdio>

#include "log/log_text_output.h"

namespace KAVRI_LOG {

void echo_narrow(const char* text) { fputs(text, stdout); }

void echo_wide_as_narrow(const wchar_t* text) {
  fputs(reinterpret_cast<const char*>(text), stdout);
}

// The 80 KB buffer lives here, not in the record builder's frame, so that
// records that are not echoed wide never reserve it.
void echo_widened(const char* line) {
  wchar_t wide[kWideTextChars];
  echo_wide_as_narrow(widen_text(line, wide));
}

}  // namespace KAVRI_LOG
