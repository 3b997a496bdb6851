#!/usr/bin/env bash
# The test command: installs what is missing, checks the formatting and
# the shell scripts (scripts/lint.sh), runs each fuzz target for a few
# seconds (scripts/fuzz.sh --smoke), then builds and tests the i386
# product target, native x86_64 (warnings as errors) and x86_64 under
# ASan + UBSan, checks that both targets' tavn-say speak alike, and runs
# the concurrency tests under ThreadSanitizer; last, builds the Debian
# packages and uses them in a fresh root (scripts/package-test.sh).  The
# i386 programs run natively where the kernel allows it and under
# user-mode emulation where it does not (TAVN_I386_EMULATE=1 forces
# emulation; see scripts/i386-run.sh).
# Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."

start=$SECONDS
scripts/deps.sh
echo "=== lint: clang-format and shellcheck"
scripts/lint.sh
echo "=== fuzz: every target over its seed inputs and for 5 s"
t=$SECONDS
scripts/fuzz.sh --smoke
echo "=== fuzz: took $((SECONDS - t)) s"
scripts/i386-run.sh
for config in i386 x86_64 asan; do
  echo "=== $config: build"
  scripts/build.sh "$config"
  echo "=== $config: test"
  t=$SECONDS
  (
    [ "$config" != i386 ] || . scripts/i386-env.sh
    ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
      LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp ctest --test-dir "build/$config" --output-on-failure -j2
  )
  echo "=== $config: tests took $((SECONDS - t)) s"
done
echo "=== i386 and x86_64 tavn-say agree"
(. scripts/i386-env.sh; tests/engine/check_targets_agree.sh build/i386/tools/tavn-say build/x86_64/tools/tavn-say)
# Requests, records and rotation from many threads at once, under
# ThreadSanitizer (x86_64): the tests labelled "concurrency".
echo "=== tsan: build"
scripts/build.sh tsan
echo "=== tsan: concurrency tests"
t=$SECONDS
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build/tsan -L concurrency --output-on-failure -j2
echo "=== tsan: tests took $((SECONDS - t)) s"
# The Debian packages of both architectures, installed and used in a bare
# Debian 12 root.
echo "=== packages: build, lintian, install and use in a fresh root"
t=$SECONDS
scripts/package-test.sh
echo "=== packages: took $((SECONDS - t)) s"
echo "All configurations passed in $((SECONDS - start)) s."
