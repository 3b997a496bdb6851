#include "tools/result_names.h"

#include <cstdio>

#include "engines/speech/engine_codes.h"
#include "synth/tavn.h"

namespace tavn::say {
namespace {

struct FrontCode {
  uint32_t code;
  ResultName name;
};

constexpr FrontCode kFrontCodes[] = {
    {0, {"success", "done"}},
    {TAVN_ERR_EXCEPTION, {"TAVN_ERR_EXCEPTION", "an exception left the request"}},
    {TAVN_ERR_EMPTY_INPUT,
     {"TAVN_ERR_EMPTY_INPUT", "the text or output file name is empty, or the text file is empty"}},
    {TAVN_ERR_NO_MEMORY, {"TAVN_ERR_NO_MEMORY", "a buffer could not be allocated"}},
    {TAVN_ERR_NULL_INPUT, {"TAVN_ERR_NULL_INPUT", "the text or output file name is missing"}},
    {TAVN_ERR_SYNCH_BUFFER,
     {"TAVN_ERR_SYNCH_BUFFER", "the buffer for the synch text is too small"}},
    {TAVN_ERR_OPEN_FILE,
     {"TAVN_ERR_OPEN_FILE", "the text file cannot be read or the output file cannot be written"}},
    {TAVN_ERR_OUTPUT_TOO_SHORT,
     {"TAVN_ERR_OUTPUT_TOO_SHORT", "fewer than 200 audio bytes were produced (nothing to say?)"}},
};

}  // namespace

ResultName result_name(uint32_t code) {
  for (const FrontCode& f : kFrontCodes) {
    if (f.code == code) return f.name;
  }
  if (const tavn::speech::EngineCode* e = tavn::speech::find_engine_code(code)) {
    return {e->name, e->reason};
  }
  return {"unknown", ""};
}

std::string describe_result(uint32_t code) {
  const ResultName n = result_name(code);
  char head[32];
  std::snprintf(head, sizeof head, "0x%08x", code);
  if (*n.reason == '\0') return std::string(head) + " (unknown result code)";
  return std::string(head) + " " + n.name + ": " + n.reason;
}

}  // namespace tavn::say
