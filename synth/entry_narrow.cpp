// TalvernSynth and TavnSynthSyn: the narrow-string entry points.
#include <cstring>

#include "synth/func_trace.h"
#include "synth/guarded_request.h"
#include "synth/tavn.hpp"

using tavn::synth::guarded_request;
using tavn::synth::Log_Func_Trace;

extern "C" uint32_t TalvernSynth(const char* text, bool is_file, const char* out_file,
                                 const char* conn_str1, const char* conn_str2, const char* params) {
  Log_Func_Trace trace("TalvernSynth");
  return guarded_request(text, is_file, out_file, conn_str1, conn_str2, params);
}

extern "C" uint32_t TavnSynthSyn(const char* text, bool is_file, const char* out_file,
                                 const char* conn_str1, const char* conn_str2, const char* params,
                                 const char* media_url, char** synch_buf, int synch_size) {
  extra_param_f record{0, {}, {}, synch_buf, 0, synch_size};
  // A null output name still reaches the driver (which refuses it with
  // ERR_NULL_INPUT); a null media URL is shown empty.
  if (out_file) record.absolute_path.assign(out_file, std::strlen(out_file));
  if (media_url) record.media_url.assign(media_url, std::strlen(media_url));
  return Talvern_Impl(text, is_file, out_file, conn_str1, conn_str2, params, &record);
}
