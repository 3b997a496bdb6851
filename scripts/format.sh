#!/usr/bin/env bash
# Formats the C and C++ sources with clang-format and the style of
# .clang-format (tests/.clang-format allows longer lines).  With --check,
# changes nothing and lists the files that would change (exit status 1 when
# there are any).  Installs clang-format when it is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v clang-format >/dev/null || scripts/apt.sh install clang-format
mapfile -t files < <(git ls-files -- '*.c' '*.cpp' '*.h' '*.hpp' |
                     grep -E '^(synth|log|engines|tools|tests|bench|fuzz|examples)/')
if [ "${1:-}" = --check ]; then
  status=0
  for f in "${files[@]}"; do
    clang-format --style=file "$f" | cmp -s - "$f" || { echo "$f"; status=1; }
  done
  exit $status
fi
clang-format --style=file -i "${files[@]}"
