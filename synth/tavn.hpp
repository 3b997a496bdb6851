// libtavn's C++ interface: the request driver behind every entry point of
// tavn.h, the synch record and its append operation.
#ifndef TAVN_TAVN_HPP_
#define TAVN_TAVN_HPP_

#include <cstdint>
#include <string>

#include "tavn.h"

// The caller's sentence-timing record.  The record and the buffer belong to
// the caller; the library only appends to *buffer.
struct extra_param_f {
  int synch_mode;             // 0: produce the synch text; any other value: none
  std::string media_url;      // written after MediaUrl in the head
  std::string absolute_path;  // written after AbsolutePath in the head
  char** buffer;              // the text goes to the characters *buffer points at
  int used;                   // characters appended so far
  int capacity;               // the largest value `used` may reach
};

// Appends `text` to rec's buffer.  `used` grows by strlen(text) before the
// check, so after one failure every later append fails too.  Returns 0, or -1
// when `used` would pass `capacity`: the buffer is then emptied (its first
// character set to zero) and an error is logged.  The terminator is not
// counted and may land one character past `capacity`.
TAVN_EXPORT int write_synch(extra_param_f* rec, const char* text);

// The request driver: checks the request, loads the text (at most 65536
// bytes), connects to the engine, writes the audio file and disconnects.
// `synch` is null or an extra_param_f*.  Returns 0, a TAVN_ERR_* code or the
// engine's result.  Reentrant; exceptions (allocation, logger) propagate.
TAVN_EXPORT uint32_t Talvern_Impl(const char* text, bool is_file, const char* out_file,
                                  const char* conn_str1, const char* conn_str2, const char* params,
                                  void* synch);

// Format converter hook of the driver's ".tmp" path: not part of this
// library, so it ignores its arguments and always returns -1.
TAVN_EXPORT int ConvertToNMSVceFile(const char* source, const char* target, int format);

#endif  // TAVN_TAVN_HPP_
