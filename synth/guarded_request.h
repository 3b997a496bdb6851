// The request of the two logging entry points (TalvernSynth, TalvernSynthW):
// the driver call under a catch-all handler, and the closing record.
#ifndef TAVN_SYNTH_GUARDED_REQUEST_H_
#define TAVN_SYNTH_GUARDED_REQUEST_H_

#include <cstdint>

namespace tavn::synth {

// Runs Talvern_Impl on the narrow request values (synch null).  An
// exception of any type becomes ERR_EXCEPTION with the error record
// "TalvernSynth(...) raise exception!!!"; success writes the info record
// "TalvernSynth(...) complete successfully!"; any other result is returned
// without a record of its own (the driver has logged the cause).
uint32_t guarded_request(const char* text, bool is_file, const char* out_file,
                         const char* conn_str1, const char* conn_str2, const char* params);

}  // namespace tavn::synth

#endif  // TAVN_SYNTH_GUARDED_REQUEST_H_
