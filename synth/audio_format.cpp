#include "synth/audio_format.h"

const AudioFormat audio_format_table[kAudioFormatCount] = {
    {"TTS_ADF_DEFAULT", 0, 0, 0, 1},
    {"TTS_ADF_PCM8K8B1C", 3, 8000, 8, 1},
    {"TTS_ADF_PCM16K8B1C", 4, 16000, 8, 1},
    {"TTS_ADF_PCM8K16B1C", 3, 8000, 16, 1},
    {"TTS_ADF_PCM16K16B1C", 4, 16000, 16, 1},
    {"TTS_ADF_PCM11K8B1C", 6, 11025, 8, 1},
    {"TTS_ADF_PCM11K16B1C", 6, 11025, 16, 1},
    {"TTS_ADF_PCM6K8B1C", 8, 6000, 8, 1},
    {"TTS_ADF_PCM6K16B1C", 8, 6000, 16, 1},
    {"TTS_ADF_ALAW16K1C", 4, 16000, 8, 6},
    {"TTS_ADF_ULAW16K1C", 4, 16000, 8, 7},
    {"TTS_ADF_ALAW8K1C", 3, 8000, 8, 6},
    {"TTS_ADF_ULAW8K1C", 3, 8000, 8, 7},
    {"TTS_ADF_ALAW11K1C", 6, 11025, 8, 6},
    {"TTS_ADF_ULAW11K1C", 6, 11025, 8, 7},
    {"TTS_ADF_ALAW6K1C", 8, 6000, 8, 6},
    {"TTS_ADF_ULAW6K1C", 8, 6000, 8, 7},
    {"TTS_ADF_ADPCMG7218K4B1C", 3, 8000, 4, 1},
    {"TTS_ADF_ADPCMG7216K4B1C", 8, 6000, 4, 1},
    {"TTS_ADF_ADPCMG7233B1C", 3, 8000, 3, 1},
    {"TTS_ADF_ADPCMG7235B1C", 3, 8000, 5, 1},
    {"TTS_ADF_VOX6K1C", 8, 6000, 4, 1},
    {"TTS_ADF_VOX8K1C", 3, 8000, 4, 1},
    {"TTS_ADF_AMR6K1C", 8, 6000, 0, 1},
    {"TTS_ADF_AMR8K1C", 3, 8000, 0, 1},
    {"TTS_ADF_AMR11K1C", 6, 6000, 0, 1},
    {"TTS_ADF_AMR16K1C", 4, 6000, 0, 1},
    {"TTS_ADF_MP36K1C", 8, 8000, 0, 1},
    {"TTS_ADF_MP38K1C", 3, 8000, 0, 1},
    {"TTS_ADF_MP311K1C", 6, 11025, 0, 1},
    {"TTS_ADF_MP316K1C", 4, 16000, 0, 1},
};

uint32_t audio_bit_rate(uint32_t fmt) {
  if (fmt > kLastTimedFormat) return 0;
  return audio_format_table[fmt].sample_rate * audio_format_table[fmt].bits_per_sample;
}
