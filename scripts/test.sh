#!/usr/bin/env bash
# The test command: installs what is missing, then builds and tests the
# i386 product target, native x86_64 and x86_64 under ASan + UBSan, and runs
# the concurrency tests under ThreadSanitizer.
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
# Requests, records and rotation from many threads at once, under
# ThreadSanitizer (x86_64): the tests labelled "concurrency".
echo "=== tsan: build"
scripts/build.sh tsan
echo "=== tsan: concurrency tests"
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build/tsan -L concurrency --output-on-failure -j2
echo "All configurations passed."
