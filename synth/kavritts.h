/*
 * The speech engine's C interface: eight operations and the two records they
 * exchange.  libtavn.so links an engine library named libkavritts.so that
 * defines these operations; engines/ holds substitute builds of it.
 *
 * Every operation returns an unsigned 32-bit result, 0 for success, except
 * TTSConnect, which returns the connection handle (0 = no connection; the
 * reason is then in TTSConnectRecord::error_code).
 *
 * Thread safety: an engine must accept calls on different handles from
 * different threads at the same time.  One handle is used by one thread.
 */
#ifndef TAVN_SYNTH_KAVRITTS_H_
#define TAVN_SYNTH_KAVRITTS_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Engine parameter id of the audio data format ("AudioHeadFmt"); its values
 * index audio_format_table. */
#define TTS_PARAM_AUDIO_FORMAT 5u

/* Handed to TTSConnect.  The caller zeroes the whole record, then fills the
 * input fields; every byte not named here stays zero. */
typedef struct TTSConnectRecord {
  uint32_t record_tag; /* in: always 0x101 */
  uint8_t reserved_4[84];
  char params[128];   /* in: engine parameter string, zero-terminated */
  char conn_str2[48]; /* in: second connection string, zero-terminated */
  uint8_t reserved_264[32];
  char conn_str1[32]; /* in: first connection string, zero-terminated */
  uint8_t reserved_328[4];
  uint32_t error_code; /* out: why TTSConnect failed */
  uint8_t reserved_336[76];
} TTSConnectRecord;

/* One per request: handed to TTSSynthText and then to every TTSFetchNext.
 * The caller zeroes it and sets text and text_length; the engine fills the
 * output fields for each piece of audio. */
typedef struct TTSSynthRecord {
  uint32_t reserved_0;
  uint32_t text_length;  /* in: text bytes to synthesise */
  uint32_t audio_length; /* out: bytes in the current piece (0 = none) */
  uint32_t reserved_12;
  uint32_t status;          /* out: 1 = more pieces follow */
  uint16_t non_audio_bytes; /* out: bytes of the piece that carry no sound */
  uint16_t reserved_22;
  uint32_t sentence_begin; /* out: text offset where the piece's sentence begins */
  uint32_t sentence_end;   /* out: text offset just past that sentence */
  uint32_t reserved_32;
  const char* text;     /* in: zero-terminated, text_length bytes */
  const uint8_t* audio; /* out: valid until the next call on this handle */
  uint8_t reserved_tail[8];
} TTSSynthRecord;

uint32_t TTSInitialize(void);
uint32_t TTSUninitialize(void);
uint32_t TTSConnect(TTSConnectRecord* record);
uint32_t TTSSetSynthParam(uint32_t handle, uint32_t id, uint32_t value);
uint32_t TTSGetParam(uint32_t handle, uint32_t id, void* value, uint32_t* size);
uint32_t TTSSynthText(uint32_t handle, TTSSynthRecord* record);
uint32_t TTSFetchNext(uint32_t handle, TTSSynthRecord* record);
uint32_t TTSDisconnect(uint32_t handle);

#ifdef __cplusplus
} /* extern "C" */

/* The engine's own layout: these offsets are fixed by the engine library. */
static_assert(offsetof(TTSConnectRecord, record_tag) == 0, "connect layout");
static_assert(offsetof(TTSConnectRecord, params) == 88, "connect layout");
static_assert(offsetof(TTSConnectRecord, conn_str2) == 216, "connect layout");
static_assert(offsetof(TTSConnectRecord, conn_str1) == 296, "connect layout");
static_assert(offsetof(TTSConnectRecord, error_code) == 332, "connect layout");
static_assert(sizeof(TTSConnectRecord) == 412, "connect layout");

static_assert(offsetof(TTSSynthRecord, text_length) == 4, "synth layout");
static_assert(offsetof(TTSSynthRecord, audio_length) == 8, "synth layout");
static_assert(offsetof(TTSSynthRecord, status) == 16, "synth layout");
static_assert(offsetof(TTSSynthRecord, non_audio_bytes) == 20, "synth layout");
static_assert(offsetof(TTSSynthRecord, sentence_begin) == 24, "synth layout");
static_assert(offsetof(TTSSynthRecord, sentence_end) == 28, "synth layout");
#if defined(__i386__)
static_assert(offsetof(TTSSynthRecord, text) == 36, "synth layout");
static_assert(offsetof(TTSSynthRecord, audio) == 40, "synth layout");
static_assert(sizeof(TTSSynthRecord) == 52, "synth layout");
#elif defined(__x86_64__)
static_assert(offsetof(TTSSynthRecord, text) == 40, "synth layout");
static_assert(offsetof(TTSSynthRecord, audio) == 48, "synth layout");
static_assert(sizeof(TTSSynthRecord) == 64, "synth layout");
#endif
#endif /* __cplusplus */

#endif /* TAVN_SYNTH_KAVRITTS_H_ */
