#include "log/log_console.h"

#include <cstdio>

namespace KAVRI_LOG {

void echo_narrow(const char* text) { fputs(text, stdout); }

void echo_wide_as_narrow(const wchar_t* text) {
  fputs(reinterpret_cast<const char*>(text), stdout);
}

}  // namespace KAVRI_LOG
