#include "engines/speech/backends/espeak_backend.h"

#include <espeak-ng/espeak_ng.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <mutex>
#include <new>

#include "engines/speech/backends/sentence_copy.h"
#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

enum class Phase { kOff, kOn, kBroken };

// Where one sentence's samples go while libespeak-ng renders it.
struct Sink {
  std::vector<int16_t>* out = nullptr;
  size_t max_samples = 0;
  uint32_t failure = 0;
};

struct State {
  std::mutex mu;
  Phase phase = Phase::kOff;
  uint32_t start_failure = 0;
  uint32_t sample_rate = 0;
  std::string voice;     // the voice libespeak-ng has loaded; empty = unknown
  Sink* sink = nullptr;  // set for the length of one synthesis, under mu
};

// Never destroyed: the front end stops the engine from an exit handler,
// possibly after static destructors have run.
State& state() {
  static State* s = new State;
  return *s;
}

// libespeak-ng's synchronous callback: runs on the thread that called
// espeak_ng_Synthesize, which holds state().mu.
int on_samples(short* samples, int count, espeak_EVENT*) {
  Sink* sink = state().sink;
  if (sink == nullptr || samples == nullptr || count <= 0) return 0;
  if (sink->out->size() + static_cast<size_t>(count) > sink->max_samples) {
    sink->failure = ENGINE_ERR_SYNTH_FAILED;
    return 1;  // stop this sentence
  }
  try {
    sink->out->insert(sink->out->end(), samples, samples + count);
  } catch (const std::bad_alloc&) {
    sink->failure = ENGINE_ERR_NO_MEMORY;
    return 1;
  }
  return 0;
}

// Whether a piece ends with libespeak-ng's pause: at the end of a sentence,
// and inside one after a clause mark (the pause a comma makes).
bool pauses_after(const std::string& text, const Prosody& prosody) {
  if (prosody.sentence_end) return true;
  const size_t last = text.find_last_not_of(" \t\r\n");
  return last != std::string::npos && std::ispunct(static_cast<unsigned char>(text[last]));
}

bool has_voice_data(const char* dir) {
  struct stat st;
  if (stat(dir, &st) != 0 || !S_ISDIR(st.st_mode)) return false;
  const std::string phontab = std::string(dir) + "/phontab";
  return stat(phontab.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Loads `voice` unless it is loaded already.  Caller holds state().mu.
uint32_t load_voice(State& s, std::string_view voice) {
  if (s.voice == voice) return 0;
  const std::string name(voice);
  if (espeak_ng_SetVoiceByName(name.c_str()) != ENS_OK) {
    s.voice.clear();  // whatever libespeak-ng kept, it is not known here
    return ENGINE_ERR_UNKNOWN_VOICE;
  }
  s.voice = voice;
  return 0;
}

}  // namespace

EspeakBackend& EspeakBackend::Get() {
  static EspeakBackend* b = new EspeakBackend;  // never destroyed, like its state
  return *b;
}

uint32_t EspeakBackend::Initialize() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.phase == Phase::kOn) return 0;
  if (s.phase == Phase::kBroken) return s.start_failure;

  const char* dir = std::getenv(kDataDirVariable);
  if (dir != nullptr && *dir == '\0') dir = nullptr;
  // libespeak-ng quietly falls back to its own folder when a named one is
  // missing, so check it here.
  if (dir != nullptr && !has_voice_data(dir)) return ENGINE_ERR_NO_VOICE_DATA;

  espeak_ng_InitializePath(dir);
  espeak_ng_ERROR_CONTEXT context = nullptr;
  espeak_ng_STATUS status = espeak_ng_Initialize(&context);
  espeak_ng_ClearErrorContext(&context);
  if (status == ENS_OK) status = espeak_ng_InitializeOutput(ENOUTPUT_MODE_SYNCHRONOUS, 0, nullptr);
  const int rate = status == ENS_OK ? espeak_ng_GetSampleRate() : 0;
  if (status != ENS_OK || rate <= 0) {
    s.phase = Phase::kBroken;
    s.start_failure = ENGINE_ERR_START_FAILED;
    return s.start_failure;
  }
  espeak_SetSynthCallback(on_samples);
  s.sample_rate = static_cast<uint32_t>(rate);
  s.voice.clear();
  s.phase = Phase::kOn;
  return 0;
}

void EspeakBackend::Terminate() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.phase != Phase::kOn) return;
  espeak_ng_Terminate();
  s.phase = Phase::kOff;
  s.sample_rate = 0;
  s.voice.clear();
}

uint32_t EspeakBackend::ListVoices(std::vector<VoiceInfo>* out) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.phase != Phase::kOn) return ENGINE_ERR_NOT_INITIALIZED;
  const espeak_VOICE** voices = espeak_ListVoices(nullptr);
  try {
    for (size_t i = 0; voices != nullptr && voices[i] != nullptr; ++i) {
      const espeak_VOICE* v = voices[i];
      if (v->identifier == nullptr || v->languages == nullptr) continue;
      const std::string_view id(v->identifier);
      if (id.substr(0, 3) == "mb/") continue;
      // The file name without its folder is what espeak_ng_SetVoiceByName
      // takes; languages starts with a priority byte.
      const size_t slash = id.rfind('/');
      out->push_back(
          VoiceInfo{std::string(slash == std::string_view::npos ? id : id.substr(slash + 1)),
                    std::string(v->languages + 1), s.sample_rate});
    }
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  return 0;
}

uint32_t EspeakBackend::SampleRate(std::string_view) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  return s.phase == Phase::kOn ? s.sample_rate : 0;
}

uint32_t EspeakBackend::CheckVoice(std::string_view voice) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.phase != Phase::kOn) return ENGINE_ERR_NOT_INITIALIZED;
  return load_voice(s, voice);
}

bool EspeakBackend::PhonemeText(std::string_view phonemes, std::string* text) const {
  text->assign("[[");
  for (char c : phonemes) {
    if (c != '[' && c != ']') *text += c;
  }
  *text += "]]";
  return true;
}

uint32_t EspeakBackend::Speak(std::string_view voice, std::string_view text, const Prosody& prosody,
                              std::vector<int16_t>* out) {
  std::string copy;  // zero-terminated for libespeak-ng
  if (uint32_t r = sentence_copy(text, &copy, out)) return r;

  State& s = state();
  std::lock_guard<std::mutex> lock(s.mu);
  if (s.phase != Phase::kOn) return ENGINE_ERR_NOT_INITIALIZED;
  if (uint32_t r = load_voice(s, voice)) return r;
  espeak_ng_SetParameter(espeakRATE, prosody.rate, 0);
  espeak_ng_SetParameter(espeakPITCH, prosody.pitch, 0);
  espeak_ng_SetParameter(espeakVOLUME, prosody.volume, 0);

  Sink sink;
  sink.out = out;
  sink.max_samples = kMaxSentenceSeconds * s.sample_rate;
  s.sink = &sink;
  // espeakENDPAUSE: each sentence ends with the pause that libespeak-ng puts
  // after a sentence inside a longer text, so the sentences played in a row
  // sound (and last) as the whole text would.
  const espeak_ng_STATUS status = espeak_ng_Synthesize(
      copy.c_str(), copy.size() + 1, 0, POS_CHARACTER, 0,
      espeakCHARS_UTF8 | (pauses_after(copy, prosody) ? espeakENDPAUSE : 0), nullptr, nullptr);
  s.sink = nullptr;
  if (sink.failure != 0) return sink.failure;
  if (status != ENS_OK) return ENGINE_ERR_SYNTH_FAILED;
  return 0;
}

}  // namespace tavn::speech
