// Talvern_Impl: the one request driver behind every entry point.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "log/large_file.h"
#include "synth/front_log.h"
#include "synth/kavritts.h"
#include "synth/result_codes.h"
#include "synth/synth_to_file.h"
#include "synth/tavn.hpp"
#include "synth/tts_module.h"

using tavn::synth::ERR_EMPTY_INPUT;
using tavn::synth::ERR_NO_MEMORY;
using tavn::synth::ERR_NULL_INPUT;
using tavn::synth::ERR_OPEN_FILE;
using tavn::synth::TTSModule;
using tavn::synth::TTSSynth2File;

namespace {

constexpr size_t kMaxText = 65536;      // text bytes used; longer input is cut
constexpr size_t kTextBuffer = 65546;   // text plus terminator, with slack
constexpr size_t kOutNameBuffer = 260;  // effective output file name
constexpr uint32_t kConvertFormat = 3;  // TTS_ADF_PCM8K16B1C, for the converter
constexpr const char* kEngineName = "libkavritts.so";

// Copies at most cap - 1 characters of src (when not null) into the zeroed
// field dst, cutting without notice.
template <size_t N>
void copy_cut(char (&dst)[N], const char* src) {
  if (src) std::memcpy(dst, src, strnlen(src, N - 1));
}

// Reads the number after the first "5=" in params (a plain substring
// search, so it also matches inside "15=").  The whole digit run is read,
// saturating far above any format value, so a long run cannot overrun a
// buffer and reads as out of range; no digits give 0.
uint32_t probe_format(const char* params) {
  const char* p = params ? std::strstr(params, "5=") : nullptr;
  if (!p) return 0;
  uint32_t value = 0;
  for (p += 2; *p >= '0' && *p <= '9'; ++p) {
    value = value * 10 + static_cast<uint32_t>(*p - '0');
    if (value > 99999999u) value = 99999999u;
  }
  return value;
}

// Loads the text (or the named text file) into buf; sets *length.
uint32_t load_text(const char* text, bool is_file, char* buf, size_t* length) {
  if (!is_file) {
    size_t n = std::strlen(text);
    if (n > kMaxText) {
      TAVN_LOG_WARN("Input text size is bigger than max input size.");
      n = kMaxText;
    }
    std::memcpy(buf, text, n);
    *length = n;
    return 0;
  }
  FILE* f = std::fopen(text, "rt");
  if (!f) {
    TAVN_LOG_ERROR("Cannot open text file %s for read.", text);
    return ERR_OPEN_FILE;
  }
  fseeko(f, 0, SEEK_END);
  // Compared unsigned: a failed size query (-1) counts as too large.
  const uint64_t size = static_cast<uint64_t>(ftello(f));
  fseeko(f, 0, SEEK_SET);
  if (size == 0) {
    TAVN_LOG_ERROR("input ZERO size text file(%s) to synth.", text);
    std::fclose(f);
    return ERR_EMPTY_INPUT;
  }
  size_t n = kMaxText;
  if (size > kMaxText) {
    TAVN_LOG_WARN("Input text file size is bigger than max input size.");
  } else {
    n = static_cast<size_t>(size);
  }
  size_t got = std::fread(buf, 1, n, f);  // a short read leaves zero bytes
  (void)got;
  std::fclose(f);
  *length = n;
  return 0;
}

}  // namespace

int ConvertToNMSVceFile(const char*, const char*, int) { return -1; }

uint32_t Talvern_Impl(const char* text, bool is_file, const char* out_file, const char* conn_str1,
                      const char* conn_str2, const char* params, void* synch) {
  if (uint32_t init = TTSModule::start())
    TAVN_LOG_ERROR("Cannot load %s TTS module, errcode=0x%08x.", kEngineName, init);

  if (!text || !out_file) {
    TAVN_LOG_ERROR("input NULL string ptr.");
    return ERR_NULL_INPUT;
  }
  if (!*text || !*out_file) {
    TAVN_LOG_ERROR("input ZERO size string buffer.");
    return ERR_EMPTY_INPUT;
  }
  std::unique_ptr<char[]> buf(new (std::nothrow) char[kTextBuffer]());
  if (!buf) {
    TAVN_LOG_ERROR("Cannot alloc buffer for input text.");
    return ERR_NO_MEMORY;
  }
  size_t length = 0;
  if (uint32_t r = load_text(text, is_file, buf.get(), &length)) return r;
  buf[length] = '\0';

  TTSConnectRecord conn;
  std::memset(&conn, 0, sizeof conn);
  conn.record_tag = 0x101;
  copy_cut(conn.conn_str1, conn_str1);
  copy_cut(conn.conn_str2, conn_str2);
  copy_cut(conn.params, params);
  uint32_t handle = TTSConnect(&conn);
  if (handle == 0) {
    TAVN_LOG_ERROR("TTSConnect() function return errcode 0x%08x.", conn.error_code);
    return conn.error_code;
  }
  TAVN_LOG_VERBOSE("Successfully connect to TTS engine.");

  const uint32_t format = probe_format(params);
  const bool convert = format >= 101 && format <= 104;
  char name[kOutNameBuffer];
  int name_length = std::snprintf(name, sizeof name, convert ? "%s.tmp" : "%s", out_file);
  if (name_length < 0 || static_cast<size_t>(name_length) >= sizeof name) {
    // A name that does not fit the buffer is refused rather than cut, so no
    // other file is ever written.
    TAVN_LOG_ERROR("Output file name %.256s... is too long.", out_file);
    buf.reset();
    if (uint32_t d = TTSDisconnect(handle))
      TAVN_LOG_ERROR("Disconnect from TTS Server failed, errcode 0x%08x.\n", d);
    return ERR_OPEN_FILE;
  }
  if (convert) {
    if (uint32_t r = TTSSetSynthParam(handle, TTS_PARAM_AUDIO_FORMAT, kConvertFormat))
      TAVN_LOG_WARN("Talvern_Impl TTSSetSynthParam(%d(%s),%d) function return errcode 0x%08x.",
                    static_cast<int>(TTS_PARAM_AUDIO_FORMAT), "AudioHeadFmt",
                    static_cast<int>(kConvertFormat), r);
  }

  TTSSynthRecord record;
  std::memset(&record, 0, sizeof record);
  record.text_length = static_cast<uint32_t>(length);
  record.text = buf.get();
  uint32_t r = TTSSynth2File(handle, &record, name, synch);

  buf.reset();
  uint32_t d = TTSDisconnect(handle);
  if (r != 0) {
    TAVN_LOG_ERROR("TTSSynth2File() function return errcode 0x%08x.\n", r);
    if (d != 0) TAVN_LOG_ERROR("Disconnect from TTS Server failed, errcode 0x%08x.\n", d);
    return r;  // the temporary file of the convert path stays
  }
  if (d != 0) TAVN_LOG_ERROR("Disconnect from TTS Server failed, errcode 0x%08x.\n", d);
  if (convert) {
    // The converter is not part of this library: the request ends with
    // result 0 and neither file present.
    unlink(out_file);
    int c = ConvertToNMSVceFile(name, out_file, static_cast<int>(format));
    if (c != 0)
      TAVN_LOG_ERROR("ConvertToNMSVceFile failed, errcode 0x%08x.\n", static_cast<unsigned>(c));
    unlink(name);
  }
  TAVN_LOG_VERBOSE("Successfully disconnect from TTS engine.");
  return 0;
}
