#include "synth/guarded_request.h"

#include "synth/front_log.h"
#include "synth/result_codes.h"
#include "synth/tavn.hpp"

namespace tavn::synth {

namespace {
// Null strings are shown as "(null)" rather than handed to printf.
const char* shown(const char* s) { return s ? s : "(null)"; }
}  // namespace

uint32_t guarded_request(const char* text, bool is_file, const char* out_file,
                         const char* conn_str1, const char* conn_str2, const char* params) {
  uint32_t r = 0;
  try {
    r = Talvern_Impl(text, is_file, out_file, conn_str1, conn_str2, params, nullptr);
  } catch (...) {
    TAVN_LOG_ERROR("TalvernSynth(%.256s,%s,%.256s,%s,%s,%.256s) raise exception!!!", shown(text),
                   is_file ? "file" : "text", shown(out_file), shown(conn_str1), shown(conn_str2),
                   shown(params));
    return ERR_EXCEPTION;
  }
  if (r == 0)
    TAVN_LOG_INFO("TalvernSynth(%.256s,%s,%.256s,%s,%s,%.256s) complete successfully!", shown(text),
                  is_file ? "file" : "text", shown(out_file), shown(conn_str1), shown(conn_str2),
                  shown(params));
  return r;
}

}  // namespace tavn::synth
