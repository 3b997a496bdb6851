// The values of <prosody> and <emphasis>, read into changes of a
// ProsodyScale, and how a scale changes the connection's settings
// (apply_prosody, declared in markup_document.h).
//
//   rate     keywords x-slow 0.5, slow 0.75, medium 1, fast 1.5, x-fast 2,
//            default 1: factors of the connection's rate, replacing the
//            enclosing one; "N%" and a bare number N multiply the enclosing
//            rate by N/100 and N; "+N%" / "-N%" by 1 +- N/100.
//   pitch    keywords x-low -6 st, low -3 st, medium 0, high +3 st,
//            x-high +6 st, default 0, from the connection's pitch;
//            "+Nst" / "-Nst" (semitones), "+N%" / "-N%" and "N%" change the
//            enclosing pitch.  Hz values are not read (the voice's own
//            frequency is not known here).
//   volume   keywords silent, x-soft -12 dB, soft -6 dB, medium 0,
//            loud +3 dB, x-loud +6 dB, default 0, from the connection's
//            volume; "+NdB" / "-NdB" (also unsigned) add to the enclosing
//            gain; "+N%" / "-N%" and "N%" scale the enclosing amplitude; an
//            unsigned number N is an amplitude of N/100 of the connection's
//            (0 is silent) and "+N" / "-N" move it by N hundredths.
//   emphasis strong: rate x0.8, +3 st, +6 dB; moderate (the default):
//            rate x0.9, +1.5 st, +3 dB; reduced: rate x1.1, -1.5 st, -3 dB;
//            none: no change.  Nested emphasis adds up like prosody.
// A value that cannot be read, or that would make the rate or pitch factor
// zero or negative, changes nothing.
//
// apply_prosody maps a scale onto the connection's settings: rate (words per
// minute) times the rate factor; pitch plus 12 log2(factor) x 50/6, so that
// 6 semitones span the half range of 0..100 (the flite voices' own scale:
// 0 and 100 are 2^-0.5 and 2^0.5 of the voice's frequency); volume times
// 10^(dB/20), 0 when silent.  Each is rounded and clamped to its range.
//
// Pure functions: safe from any thread.
#ifndef TAVN_ENGINES_SPEECH_MARKUP_PROSODY_VALUES_H_
#define TAVN_ENGINES_SPEECH_MARKUP_PROSODY_VALUES_H_

#include <string_view>

#include "engines/speech/markup/markup_document.h"

namespace tavn::speech::markup {

// Each changes `*scale` (the enclosing scale on entry) by the attribute
// value `value`; false, with `*scale` unchanged, when it cannot be read.
bool apply_rate(std::string_view value, ProsodyScale* scale);
bool apply_pitch(std::string_view value, ProsodyScale* scale);
bool apply_volume(std::string_view value, ProsodyScale* scale);

// <emphasis level="..."> (an absent level is "moderate").
bool apply_emphasis(std::string_view level, ProsodyScale* scale);

}  // namespace tavn::speech::markup

#endif  // TAVN_ENGINES_SPEECH_MARKUP_PROSODY_VALUES_H_
