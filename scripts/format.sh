#!/usr/bin/env bash
# Formats the C and C++ sources with clang-format and the style of
# .clang-format (tests/.clang-format allows longer lines).  With --check,
# changes nothing and lists the files that would change (exit status 1 when
# there are any).  Installs clang-format when it is missing.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v clang-format >/dev/null || scripts/apt.sh install clang-format
mapfile -t files < <(git ls-files -- '*.c' '*.cpp' '*.h' '*.hpp' |
                     grep -E '^(synth|log|engines|server|tools|tests|bench|fuzz|examples)/')
if [ "${1:-}" = --check ]; then
  # One clang-format for all the files: each difference is an error that
  # starts with its file's name.
  if report=$(clang-format --style=file --dry-run --Werror "${files[@]}" 2>&1); then
    exit 0
  fi
  names=$(sed -n 's/^\([^:]*\):[0-9]*:[0-9]*: error: .*/\1/p' <<<"$report" | sort -u)
  printf '%s\n' "${names:-$report}"
  exit 1
fi
clang-format --style=file -i "${files[@]}"
