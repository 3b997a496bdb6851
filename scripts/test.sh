#!/usr/bin/env bash
# The test command: installs what is missing, then builds and tests the
# i386 product target, native x86_64 and x86_64 under ASan + UBSan.
# Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
for config in i386 x86_64 asan; do
  echo "=== $config: build"
  scripts/build.sh "$config"
  echo "=== $config: test"
  ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
    LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp ctest --test-dir "build/$config" --output-on-failure -j2
done
echo "All configurations passed."
