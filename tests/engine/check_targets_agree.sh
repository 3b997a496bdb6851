#!/usr/bin/env bash
# The 32-bit and the 64-bit tavn-say speak the same text alike: for the
# default format and 8 kHz A-law, both files have the same format and
# durations within 1%.
#   check_targets_agree.sh I386_TAVN_SAY X86_64_TAVN_SAY
# Run the i386 program with scripts/i386-env.sh sourced.
set -euo pipefail
say32=${1:?usage: check_targets_agree.sh I386_TAVN_SAY X86_64_TAVN_SAY}
say64=${2:?usage: check_targets_agree.sh I386_TAVN_SAY X86_64_TAVN_SAY}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
describe() {  # file type, rate, channels, bits, encoding
  local o
  for o in -t -r -c -b -e; do printf '%s, ' "$(soxi "$o" "$1")"; done
}
text="The product target speaks too. Both builds read this text, sentence by sentence, at the same rate."
for format in default alaw8k1c; do
  "$say32" --format "$format" -o "$dir/32.wav" "$text" >/dev/null
  "$say64" --format "$format" -o "$dir/64.wav" "$text" >/dev/null
  f32=$(describe "$dir/32.wav")
  f64=$(describe "$dir/64.wav")
  d32=$(soxi -D "$dir/32.wav")
  d64=$(soxi -D "$dir/64.wav")
  echo "$format: i386 [$f32] ${d32} s, x86_64 [$f64] ${d64} s"
  [ "$f32" = "$f64" ] || { echo "FAIL: formats differ" >&2; exit 1; }
  awk -v a="$d32" -v b="$d64" 'BEGIN { d = a - b; if (d < 0) d = -d; exit !(b > 0 && d <= 0.01 * b) }' ||
    { echo "FAIL: durations differ by more than 1%" >&2; exit 1; }
done
echo "i386 and x86_64 tavn-say agree"
