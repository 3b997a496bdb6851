/*
 * libtavn: speak a text or a text file into a WAVE file.
 *
 * All entry points may be called from any thread at the same time; each call
 * is one complete request and returns an unsigned 32-bit result code: 0 for
 * success, one of the TAVN_ERR_* values below, or the speech engine's own
 * non-zero result passed through unchanged.  The library keeps none of the
 * caller's pointers after a call returns.
 *
 * Usable from C and C++.  Define TAVN_WANT_JNI before including this header
 * (with jni.h on the include path) to also declare the Java native method.
 */
#ifndef TAVN_TAVN_H_
#define TAVN_TAVN_H_

#include <stdbool.h>
#include <stdint.h>
#include <wchar.h>

/* One aligned row per code. */
/* clang-format off */
#define TAVN_ERR_EXCEPTION        0x80650002u /* an exception left the request (TalvernSynth, TalvernSynthW) */
#define TAVN_ERR_EMPTY_INPUT      0x80650006u /* text or output name empty, or the text file empty */
#define TAVN_ERR_NO_MEMORY        0x80650201u /* a buffer could not be allocated */
#define TAVN_ERR_NULL_INPUT       0x80650205u /* text or output name is a null pointer */
#define TAVN_ERR_SYNCH_BUFFER     0x80650209u /* the caller's synch buffer is too small */
#define TAVN_ERR_OPEN_FILE        0x80650301u /* text file unreadable, output file unwritable, or output name too long */
#define TAVN_ERR_OUTPUT_TOO_SHORT 0x80650306u /* under 200 audio bytes written and no synch text asked for */
/* clang-format on */

#if defined(__GNUC__)
#define TAVN_EXPORT __attribute__((visibility("default")))
#else
#define TAVN_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Speaks `text` (or, when is_file is true, the contents of the file named by
 * `text`, at most 65536 bytes) into the WAVE file `out_file`.  out_file may
 * have at most 259 bytes, or 255 when params hold "5=101" to "5=104" (the
 * library then writes out_file plus ".tmp"); a longer name is refused with
 * TAVN_ERR_OPEN_FILE, never cut.  conn_str1 (31 characters used), conn_str2
 * (47) and params (127) go to the engine and may be null.  Writes
 * "enter"/"leave" traces and a closing record to the log; an exception
 * inside the request becomes TAVN_ERR_EXCEPTION. */
TAVN_EXPORT uint32_t TalvernSynth(const char* text, bool is_file, const char* out_file,
                                  const char* conn_str1, const char* conn_str2, const char* params);

/* As TalvernSynth, with wide strings.  Each string is converted to multibyte
 * text under the locale "chs" (a double-byte Chinese locale, when installed;
 * otherwise the current locale), which is switched for the whole process for
 * the length of each conversion.  A null pointer is not a result code: the
 * C++ exception std::logic_error leaves the call. */
TAVN_EXPORT uint32_t TalvernSynthW(const wchar_t* text, bool is_file, const wchar_t* out_file,
                                   const wchar_t* conn_str1, const wchar_t* conn_str2,
                                   const wchar_t* params);

/* As TalvernSynth, and also writes the sentence-timing ("synch") text into
 * the caller's buffer *synch_buf, whose capacity synch_size must be one less
 * than its size (the terminator may land one past it).  out_file and
 * media_url must not be null.  No log traces; exceptions are not caught. */
TAVN_EXPORT uint32_t TavnSynthSyn(const char* text, bool is_file, const char* out_file,
                                  const char* conn_str1, const char* conn_str2, const char* params,
                                  const char* media_url, char** synch_buf, int synch_size);

#ifdef TAVN_WANT_JNI
#include <jni.h>
/* Native method TalvernSynth of the Java class com.kavri.talvern.  The byte
 * arrays are passed on unconverted; failure codes arrive as negative ints. */
TAVN_EXPORT JNIEXPORT jint JNICALL Java_com_kavri_talvern_TalvernSynth(
    JNIEnv* env, jobject self, jbyteArray text, jboolean is_file, jbyteArray out_file,
    jbyteArray conn_str1, jbyteArray conn_str2, jbyteArray params);
#endif

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TAVN_TAVN_H_ */
