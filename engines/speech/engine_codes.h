// Result codes of the speech engine (libkavritts.so in engines/speech).
// Every TTS* operation returns 0 or one of these; TTSConnect puts them into
// TTSConnectRecord::error_code.
//
// Header-only so that programs (tavn-say) can name a code without linking
// the engine's internals.  All of it is constant data: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_ENGINE_CODES_H_
#define TAVN_ENGINES_SPEECH_ENGINE_CODES_H_

#include <cstddef>
#include <cstdint>

namespace tavn::speech {

constexpr uint32_t ENGINE_ERR_NOT_INITIALIZED = 0x80660001u;
constexpr uint32_t ENGINE_ERR_NO_VOICE_DATA = 0x80660002u;
constexpr uint32_t ENGINE_ERR_START_FAILED = 0x80660003u;
constexpr uint32_t ENGINE_ERR_NULL_ARGUMENT = 0x80660004u;
constexpr uint32_t ENGINE_ERR_BAD_HANDLE = 0x80660005u;
constexpr uint32_t ENGINE_ERR_UNKNOWN_VOICE = 0x80660006u;
constexpr uint32_t ENGINE_ERR_BAD_VALUE = 0x80660007u;
constexpr uint32_t ENGINE_ERR_FORMAT_REFUSED = 0x80660008u;
constexpr uint32_t ENGINE_ERR_UNKNOWN_PARAM = 0x80660009u;
constexpr uint32_t ENGINE_ERR_BUSY = 0x8066000Au;
constexpr uint32_t ENGINE_ERR_NO_REQUEST = 0x8066000Bu;
constexpr uint32_t ENGINE_ERR_SYNTH_FAILED = 0x8066000Cu;
constexpr uint32_t ENGINE_ERR_CODEC = 0x8066000Du;
constexpr uint32_t ENGINE_ERR_NO_MEMORY = 0x8066000Eu;
constexpr uint32_t ENGINE_ERR_SIZE = 0x8066000Fu;
constexpr uint32_t ENGINE_ERR_INTERNAL = 0x80660010u;
constexpr uint32_t ENGINE_ERR_BAD_MARKUP = 0x80660011u;
constexpr uint32_t ENGINE_ERR_SERVER_UNREACHABLE = 0x80660012u;
constexpr uint32_t ENGINE_ERR_SERVER_FAILED = 0x80660013u;
constexpr uint32_t ENGINE_ERR_SERVER_BUSY = 0x80660014u;
constexpr uint32_t ENGINE_ERR_SERVER_REFUSED = 0x80660015u;

struct EngineCode {
  uint32_t code;
  const char* name;
  const char* reason;
};

constexpr EngineCode kEngineCodes[] = {
    {ENGINE_ERR_NOT_INITIALIZED, "ENGINE_ERR_NOT_INITIALIZED",
     "the speech engine is not started (TTSInitialize missing or failed)"},
    {ENGINE_ERR_NO_VOICE_DATA, "ENGINE_ERR_NO_VOICE_DATA",
     "the voice data directory named by TAVN_ESPEAK_DATA does not exist or holds no voice data"},
    {ENGINE_ERR_START_FAILED, "ENGINE_ERR_START_FAILED",
     "libespeak-ng could not start (voice data missing or unreadable)"},
    {ENGINE_ERR_NULL_ARGUMENT, "ENGINE_ERR_NULL_ARGUMENT",
     "a record, text or value pointer is null"},
    {ENGINE_ERR_BAD_HANDLE, "ENGINE_ERR_BAD_HANDLE", "no open connection has this handle"},
    {ENGINE_ERR_UNKNOWN_VOICE, "ENGINE_ERR_UNKNOWN_VOICE",
     "the voice named by voice= is not installed"},
    {ENGINE_ERR_BAD_VALUE, "ENGINE_ERR_BAD_VALUE",
     "a rate=, pitch=, volume= or timeout value is not a number in its range, a connection "
     "string names no server address, or the token file holds no token"},
    {ENGINE_ERR_FORMAT_REFUSED, "ENGINE_ERR_FORMAT_REFUSED",
     "the audio format is not one of 0 to 30 (101 to 104 also accepted at connect)"},
    {ENGINE_ERR_UNKNOWN_PARAM, "ENGINE_ERR_UNKNOWN_PARAM",
     "only engine parameter 5 (the audio format) exists"},
    {ENGINE_ERR_BUSY, "ENGINE_ERR_BUSY",
     "the audio format cannot change while a text is being spoken"},
    {ENGINE_ERR_NO_REQUEST, "ENGINE_ERR_NO_REQUEST",
     "TTSFetchNext without a text in progress (never started, finished or failed)"},
    {ENGINE_ERR_SYNTH_FAILED, "ENGINE_ERR_SYNTH_FAILED",
     "libespeak-ng or flite failed while speaking a sentence"},
    {ENGINE_ERR_CODEC, "ENGINE_ERR_CODEC", "the resampler or audio encoder could not start"},
    {ENGINE_ERR_NO_MEMORY, "ENGINE_ERR_NO_MEMORY", "the engine ran out of memory"},
    {ENGINE_ERR_SIZE, "ENGINE_ERR_SIZE", "TTSGetParam was given a value size below 4 bytes"},
    {ENGINE_ERR_INTERNAL, "ENGINE_ERR_INTERNAL", "unexpected failure inside the engine"},
    {ENGINE_ERR_BAD_MARKUP, "ENGINE_ERR_BAD_MARKUP",
     "the text looks like SSML markup but is malformed, too deep or unsafe"},
    {ENGINE_ERR_SERVER_UNREACHABLE, "ENGINE_ERR_SERVER_UNREACHABLE",
     "no speech server named by conn_str1 or conn_str2 could be reached"},
    {ENGINE_ERR_SERVER_FAILED, "ENGINE_ERR_SERVER_FAILED",
     "the speech server failed or went away while speaking the request"},
    {ENGINE_ERR_SERVER_BUSY, "ENGINE_ERR_SERVER_BUSY",
     "the speech server's queue is full; try again later"},
    {ENGINE_ERR_SERVER_REFUSED, "ENGINE_ERR_SERVER_REFUSED",
     "the speech server refused the request (wire version, token or size)"},
};

// The entry for `code`, or null when the engine does not define it.
constexpr const EngineCode* find_engine_code(uint32_t code) {
  for (const EngineCode& c : kEngineCodes) {
    if (c.code == code) return &c;
  }
  return nullptr;
}

}  // namespace tavn::speech

#endif  // TAVN_ENGINES_SPEECH_ENGINE_CODES_H_
