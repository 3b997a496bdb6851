#include "engines/speech/markup/prosody_values.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "engines/speech/markup/blanks.h"

namespace tavn::speech::markup {
namespace {

struct Keyword {
  std::string_view name;
  double value;
};

constexpr Keyword kRates[] = {{"x-slow", 0.5}, {"slow", 0.75},  {"medium", 1.0},
                              {"fast", 1.5},   {"x-fast", 2.0}, {"default", 1.0}};
constexpr Keyword kPitches[] = {{"x-low", -6}, {"low", -3},   {"medium", 0},
                                {"high", 3},   {"x-high", 6}, {"default", 0}};  // semitones
constexpr Keyword kVolumes[] = {{"x-soft", -12}, {"soft", -6},  {"medium", 0},
                                {"loud", 3},     {"x-loud", 6}, {"default", 0}};  // dB

// Pitch units per semitone: 6 semitones span half of 0..kMaxPitch.
constexpr double kPitchPerSemitone = 50.0 / 6.0;

template <size_t N>
bool find_keyword(std::string_view s, const Keyword (&table)[N], double* out) {
  for (const Keyword& k : table) {
    if (s == k.name) {
      *out = k.value;
      return true;
    }
  }
  return false;
}

// A value "[+|-]NUMBER[UNIT]" taken apart; false unless NUMBER is a finite
// decimal number and UNIT is one of the letters or '%' only.
struct Number {
  char sign = 0;  // '+', '-' or 0 for none
  double magnitude = 0;
  std::string_view unit;
  double signed_value() const { return sign == '-' ? -magnitude : magnitude; }
};

bool read_number(std::string_view s, Number* out) {
  s = trim_blanks(s);
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
    out->sign = s[0];
    s.remove_prefix(1);
  }
  if (s.empty() || !((s[0] >= '0' && s[0] <= '9') || s[0] == '.')) return false;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out->magnitude);
  if (ec != std::errc() || !std::isfinite(out->magnitude)) return false;
  out->unit = s.substr(static_cast<size_t>(end - s.data()));
  return true;
}

bool unit_is(std::string_view unit, std::string_view want) {
  if (unit.size() != want.size()) return false;
  for (size_t i = 0; i < unit.size(); ++i) {
    const char c =
        unit[i] >= 'A' && unit[i] <= 'Z' ? static_cast<char>(unit[i] - 'A' + 'a') : unit[i];
    if (c != want[i]) return false;
  }
  return true;
}

// A factor of the enclosing value from "N%", "+N%", "-N%" or a bare number;
// false for anything else or a factor that is not above zero.
bool relative_factor(const Number& n, double* factor) {
  double f;
  if (n.unit == "%") {
    f = n.sign == 0 ? n.magnitude / 100 : 1 + n.signed_value() / 100;
  } else if (n.unit.empty() && n.sign == 0) {
    f = n.magnitude;
  } else {
    return false;
  }
  if (!(f > 0)) return false;
  *factor = f;
  return true;
}

double gain_db(double amplitude) { return 20 * std::log10(amplitude); }

}  // namespace

bool apply_rate(std::string_view value, ProsodyScale* scale) {
  value = trim_blanks(value);
  double f;
  if (find_keyword(value, kRates, &f)) {
    scale->rate = f;
    return true;
  }
  Number n;
  if (!read_number(value, &n) || !relative_factor(n, &f)) return false;
  scale->rate *= f;
  return true;
}

bool apply_pitch(std::string_view value, ProsodyScale* scale) {
  value = trim_blanks(value);
  double st;
  if (find_keyword(value, kPitches, &st)) {
    scale->pitch = std::exp2(st / 12);
    return true;
  }
  Number n;
  if (!read_number(value, &n)) return false;
  double f;
  if (unit_is(n.unit, "st")) {
    f = std::exp2(n.signed_value() / 12);
  } else if (n.unit != "%" || !relative_factor(n, &f)) {
    return false;
  }
  scale->pitch *= f;
  return true;
}

bool apply_volume(std::string_view value, ProsodyScale* scale) {
  value = trim_blanks(value);
  if (value == "silent") {
    scale->silent = true;
    return true;
  }
  double db;
  if (find_keyword(value, kVolumes, &db)) {
    scale->volume_db = db;
    scale->silent = false;
    return true;
  }
  Number n;
  if (!read_number(value, &n)) return false;
  if (unit_is(n.unit, "db")) {
    scale->volume_db += n.signed_value();
    return true;
  }
  double amplitude;  // of the connection's, after the change
  const double now = std::pow(10.0, scale->volume_db / 20);
  if (n.unit == "%") {
    amplitude = n.sign == 0 ? now * n.magnitude / 100 : now * (1 + n.signed_value() / 100);
  } else if (n.unit.empty() && n.sign == 0) {  // an absolute level, 100 = the connection's
    amplitude = n.magnitude / 100;
    scale->silent = false;
  } else if (n.unit.empty()) {
    amplitude = now + n.signed_value() / 100;
  } else {
    return false;
  }
  if (amplitude <= 0) {
    scale->silent = true;
  } else {
    scale->volume_db = gain_db(amplitude);
  }
  return true;
}

bool apply_emphasis(std::string_view level, ProsodyScale* scale) {
  level = trim_blanks(level);
  double rate, st, db;
  if (level == "strong") {
    rate = 0.8, st = 3, db = 6;
  } else if (level.empty() || level == "moderate") {
    rate = 0.9, st = 1.5, db = 3;
  } else if (level == "reduced") {
    rate = 1.1, st = -1.5, db = -3;
  } else {
    return level == "none";
  }
  scale->rate *= rate;
  scale->pitch *= std::exp2(st / 12);
  scale->volume_db += db;
  return true;
}

Prosody apply_prosody(const Prosody& base, const ProsodyScale& scale) {
  auto clamp_round = [](double v, int lo, int hi) {
    if (!std::isfinite(v)) return v > 0 ? hi : lo;
    return static_cast<int>(
        std::lround(std::clamp(v, static_cast<double>(lo), static_cast<double>(hi))));
  };
  Prosody p;
  p.rate = clamp_round(base.rate * scale.rate, kMinRate, kMaxRate);
  p.pitch = clamp_round(base.pitch + 12 * std::log2(scale.pitch) * kPitchPerSemitone, 0, kMaxPitch);
  p.volume = scale.silent
                 ? 0
                 : clamp_round(base.volume * std::pow(10.0, scale.volume_db / 20), 0, kMaxVolume);
  return p;
}

}  // namespace tavn::speech::markup
