// Names and reasons for the result codes tavn-say can meet: the front end's
// TAVN_ERR_* codes and the speech engine's ENGINE_ERR_* codes.  Constant
// data: safe from any thread.
#ifndef TAVN_TOOLS_RESULT_NAMES_H_
#define TAVN_TOOLS_RESULT_NAMES_H_

#include <cstdint>
#include <string>

namespace tavn::say {

struct ResultName {
  const char* name;    // "TAVN_ERR_OPEN_FILE", or "unknown" when not known
  const char* reason;  // one line, or "" when not known
};

ResultName result_name(uint32_t code);

// "0x80650301 TAVN_ERR_OPEN_FILE: <reason>", or "0x... (unknown result code)".
std::string describe_result(uint32_t code);

}  // namespace tavn::say

#endif  // TAVN_TOOLS_RESULT_NAMES_H_
