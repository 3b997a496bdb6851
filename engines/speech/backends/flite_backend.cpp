#include "engines/speech/backends/flite_backend.h"

#include <dlfcn.h>
#include <flite/flite.h>

#include <cmath>
#include <cstdlib>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>

#include "engines/speech/backends/sentence_copy.h"
#include "engines/speech/engine_codes.h"

namespace tavn::speech {
namespace {

// Clustergen voices take a pitch change as "f0_shift"; the diphone voices
// (kal, kal16) only read a target mean F0.
enum class Kind { kClustergen, kDiphone };

struct VoiceEntry {
  const char* name;      // as the voice= parameter takes it, e.g. "flite:slt"
  const char* language;  // e.g. "en-us"
  uint32_t sample_rate;  // Hz, the rate the voice speaks at
  Kind kind;
  const char* library;  // soname; it exports register_<id> and unregister_<id>
  const char* id;
};

const VoiceEntry kVoices[] = {
    {"flite:slt", "en-us", 16000, Kind::kClustergen, "libflite_cmu_us_slt.so.1", "cmu_us_slt"},
    {"flite:awb", "en-gb-scotland", 16000, Kind::kClustergen, "libflite_cmu_us_awb.so.1",
     "cmu_us_awb"},
    {"flite:rms", "en-us", 16000, Kind::kClustergen, "libflite_cmu_us_rms.so.1", "cmu_us_rms"},
    {"flite:kal16", "en-us", 16000, Kind::kDiphone, "libflite_cmu_us_kal16.so.1", "cmu_us_kal16"},
    {"flite:kal", "en-us", 8000, Kind::kDiphone, "libflite_cmu_us_kal.so.1", "cmu_us_kal"},
};

// libflite's functions, looked up when the first voice is loaded.  flite
// and its voices are loaded only when a flite voice is first used: their
// data takes some 150,000 relocations (over 6 MiB of memory and 40 million
// cycles at start-up), which a process speaking with libespeak-ng only
// should not pay.
struct FliteApi {
  int (*init)();
  cst_utterance* (*new_utterance)();
  void (*delete_utterance)(cst_utterance*);
  int (*utt_set_input_text)(cst_utterance*, const char*);
  cst_utterance* (*utt_init)(cst_utterance*, cst_voice*);
  cst_utterance* (*utt_synth)(cst_utterance*);
  cst_wave* (*utt_wave)(cst_utterance*);
  void (*feat_set_float)(cst_features*, const char*, float);
  float (*get_param_float)(const cst_features*, const char*, float);
  cst_relation* (*utt_relation)(const cst_utterance*, const char*);
  cst_item* (*relation_head)(cst_relation*);
  cst_item* (*relation_tail)(cst_relation*);
  cst_item* (*item_prev)(const cst_item*);
  float (*item_feat_float)(const cst_item*, const char*);
};

template <typename F>
bool look_up(void* library, const char* name, F* out) {
  void* p = dlsym(library, name);
  if (p == nullptr) return false;
  *out = reinterpret_cast<F>(p);
  return true;
}

bool load_api(FliteApi* api) {
  void* lib = dlopen("libflite.so.1", RTLD_NOW | RTLD_LOCAL);
  return lib != nullptr && look_up(lib, "flite_init", &api->init) &&
         look_up(lib, "new_utterance", &api->new_utterance) &&
         look_up(lib, "delete_utterance", &api->delete_utterance) &&
         look_up(lib, "utt_set_input_text", &api->utt_set_input_text) &&
         look_up(lib, "utt_init", &api->utt_init) && look_up(lib, "utt_synth", &api->utt_synth) &&
         look_up(lib, "utt_wave", &api->utt_wave) &&
         look_up(lib, "feat_set_float", &api->feat_set_float) &&
         look_up(lib, "get_param_float", &api->get_param_float) &&
         look_up(lib, "utt_relation", &api->utt_relation) &&
         look_up(lib, "relation_head", &api->relation_head) &&
         look_up(lib, "relation_tail", &api->relation_tail) &&
         look_up(lib, "item_prev", &api->item_prev) &&
         look_up(lib, "item_feat_float", &api->item_feat_float);
}
constexpr size_t kVoiceCount = sizeof kVoices / sizeof kVoices[0];

struct LoadedVoice {
  cst_voice* (*register_fn)(const char*) = nullptr;
  void (*unregister_fn)(cst_voice*) = nullptr;
  cst_voice* voice = nullptr;  // registered
};

struct State {
  std::shared_mutex mu;  // shared: speaking; exclusive: loading, (un)registering
  bool api_loaded = false;
  FliteApi api = {};
  LoadedVoice voices[kVoiceCount];
};

// Loads libflite and the voice's library (kept for the life of the process)
// and registers the voice.  Caller holds s.mu exclusively.
void register_voice(State& s, size_t index) {
  if (!s.api_loaded) {
    FliteApi api;
    if (!load_api(&api)) return;
    api.init();
    s.api = api;
    s.api_loaded = true;
  }
  LoadedVoice& v = s.voices[index];
  if (v.register_fn == nullptr) {
    void* lib = dlopen(kVoices[index].library, RTLD_NOW | RTLD_LOCAL);
    const std::string id = kVoices[index].id;
    if (lib == nullptr || !look_up(lib, ("register_" + id).c_str(), &v.register_fn) ||
        !look_up(lib, ("unregister_" + id).c_str(), &v.unregister_fn)) {
      v.register_fn = nullptr;
      return;
    }
  }
  v.voice = v.register_fn(nullptr);
}

// Never destroyed: the engine may be stopped from an exit handler.
State& state() {
  static State* s = new State;
  return *s;
}

const VoiceEntry* find_voice(std::string_view name, size_t* index) {
  for (size_t i = 0; i < kVoiceCount; ++i) {
    if (name == kVoices[i].name) {
      *index = i;
      return &kVoices[i];
    }
  }
  return nullptr;
}

// The registered voice at `index`, registering it first if needed.  Returns
// with `shared` holding the lock in shared mode.
cst_voice* voice_at(State& s, size_t index, std::shared_lock<std::shared_mutex>* shared) {
  *shared = std::shared_lock<std::shared_mutex>(s.mu);
  if (s.voices[index].voice != nullptr) return s.voices[index].voice;
  shared->unlock();
  {
    std::unique_lock<std::shared_mutex> exclusive(s.mu);
    if (s.voices[index].voice == nullptr) register_voice(s, index);
  }
  shared->lock();
  return s.voices[index].voice;
}

// Quiet samples at the edges of an utterance that flite's pause segments
// cover, and the margin kept of them so that no sound is clipped.
constexpr int kQuietLevel = 300;  // about -40 dB of full scale
constexpr uint32_t kJoinMarginMs = 20;

// Samples to cut from the front (`*lead`) and the back (`*trail`) of an
// utterance whose pieces join others within a sentence: the part of flite's
// first and last pause that is also quiet, less the margin.  Both measures
// must agree, as the diphone voices' segment times drift from their samples.
void pauses_to_cut(const FliteApi& api, cst_utterance* u, const std::vector<int16_t>& samples,
                   uint32_t rate, size_t* lead, size_t* trail) {
  *lead = *trail = 0;
  cst_relation* segments = api.utt_relation(u, "Segment");
  cst_item* first = segments == nullptr ? nullptr : api.relation_head(segments);
  cst_item* last = segments == nullptr ? nullptr : api.relation_tail(segments);
  if (first == nullptr || last == nullptr || first == last) return;
  const cst_item* before_last = api.item_prev(last);
  const double first_pause = api.item_feat_float(first, "end");
  const double last_pause = api.item_feat_float(last, "end") -
                            (before_last == nullptr ? 0 : api.item_feat_float(before_last, "end"));
  size_t quiet_lead = 0, quiet_trail = 0;
  while (quiet_lead < samples.size() && std::abs(samples[quiet_lead]) < kQuietLevel) ++quiet_lead;
  while (quiet_trail < samples.size() - quiet_lead &&
         std::abs(samples[samples.size() - 1 - quiet_trail]) < kQuietLevel)
    ++quiet_trail;
  const size_t margin = kJoinMarginMs * rate / 1000;
  auto cut = [&](double pause_seconds, size_t quiet) {
    const size_t pause = pause_seconds > 0 ? static_cast<size_t>(pause_seconds * rate) : 0;
    const size_t both = pause < quiet ? pause : quiet;
    return both > margin ? both - margin : 0;
  };
  *lead = cut(first_pause, quiet_lead);
  *trail = cut(last_pause, quiet_trail);
}

// pitch 0..100 around 50 as a factor on F0: half an octave down or up at the ends.
float pitch_factor(int pitch) { return std::pow(2.0f, static_cast<float>(pitch - 50) / 100.0f); }

}  // namespace

FliteBackend& FliteBackend::Get() {
  static FliteBackend* b = new FliteBackend;  // never destroyed, like its state
  return *b;
}

uint32_t FliteBackend::ListVoices(std::vector<VoiceInfo>* out) {
  try {
    for (const VoiceEntry& v : kVoices)
      out->push_back(VoiceInfo{v.name, v.language, v.sample_rate});
  } catch (const std::bad_alloc&) {
    return ENGINE_ERR_NO_MEMORY;
  }
  return 0;
}

uint32_t FliteBackend::SampleRate(std::string_view voice) {
  size_t index = 0;
  const VoiceEntry* v = find_voice(voice, &index);
  return v == nullptr ? 0 : v->sample_rate;
}

uint32_t FliteBackend::CheckVoice(std::string_view voice) {
  size_t index = 0;
  if (find_voice(voice, &index) == nullptr) return ENGINE_ERR_UNKNOWN_VOICE;
  std::shared_lock<std::shared_mutex> lock;
  return voice_at(state(), index, &lock) == nullptr ? ENGINE_ERR_UNKNOWN_VOICE : 0;
}

uint32_t FliteBackend::Speak(std::string_view voice_name, std::string_view text,
                             const Prosody& prosody, std::vector<int16_t>* out) {
  size_t index = 0;
  const VoiceEntry* entry = find_voice(voice_name, &index);
  if (entry == nullptr) return ENGINE_ERR_UNKNOWN_VOICE;
  std::string copy;
  if (uint32_t r = sentence_copy(text, &copy, out)) return r;

  State& s = state();
  std::shared_lock<std::shared_mutex> lock;
  cst_voice* voice = voice_at(s, index, &lock);
  if (voice == nullptr) return ENGINE_ERR_UNKNOWN_VOICE;

  // The prosody goes into this utterance's own features, which
  // take precedence over the voice's; the shared voice is never written.
  const FliteApi& api = s.api;
  cst_utterance* u = api.new_utterance();
  if (u == nullptr) return ENGINE_ERR_NO_MEMORY;
  api.utt_set_input_text(u, copy.c_str());
  api.utt_init(u, voice);
  // Both scale what the voice itself sets (kal speaks with a stretch of its own).
  if (prosody.rate != kDefaultRate) {
    const float stretch = api.get_param_float(voice->features, "duration_stretch", 1.0f);
    api.feat_set_float(u->features, "duration_stretch", stretch * kDefaultRate / prosody.rate);
  }
  if (prosody.pitch != kDefaultPitch) {
    const float factor = pitch_factor(prosody.pitch);
    if (entry->kind == Kind::kClustergen) {
      const float shift = api.get_param_float(voice->features, "f0_shift", 1.0f);
      api.feat_set_float(u->features, "f0_shift", shift * factor);
    } else {
      const float mean = api.get_param_float(voice->features, "int_f0_target_mean", 100.0f);
      api.feat_set_float(u->features, "int_f0_target_mean", mean * factor);
    }
  }
  uint32_t result = 0;
  if (api.utt_synth(u) == nullptr) {
    result = ENGINE_ERR_SYNTH_FAILED;
  } else {
    const cst_wave* w = api.utt_wave(u);
    const size_t n = (w == nullptr || w->num_samples < 0) ? 0 : static_cast<size_t>(w->num_samples);
    if (n > kMaxSentenceSeconds * entry->sample_rate) {
      result = ENGINE_ERR_SYNTH_FAILED;
    } else if (n > 0) {
      try {
        out->assign(w->samples, w->samples + n);
        if (!prosody.sentence_start || !prosody.sentence_end) {
          size_t lead = 0, trail = 0;
          pauses_to_cut(api, u, *out, entry->sample_rate, &lead, &trail);
          if (prosody.sentence_end) trail = 0;
          if (prosody.sentence_start) lead = 0;
          out->erase(out->end() - static_cast<std::ptrdiff_t>(trail), out->end());
          out->erase(out->begin(), out->begin() + static_cast<std::ptrdiff_t>(lead));
        }
      } catch (const std::bad_alloc&) {
        result = ENGINE_ERR_NO_MEMORY;
      }
    }
  }
  api.delete_utterance(u);
  lock.unlock();

  if (result == 0 && prosody.volume != kDefaultVolume) {
    for (int16_t& v : *out) {
      const int32_t scaled = v * prosody.volume / kDefaultVolume;
      v = static_cast<int16_t>(scaled > 32767 ? 32767 : scaled < -32768 ? -32768 : scaled);
    }
  }
  return result;
}

void FliteBackend::Terminate() {
  State& s = state();
  std::unique_lock<std::shared_mutex> lock(s.mu);
  for (LoadedVoice& v : s.voices) {
    if (v.voice != nullptr) v.unregister_fn(v.voice);
    v.voice = nullptr;
  }
}

}  // namespace tavn::speech
