#!/usr/bin/env bash
# Configures and builds one configuration into build/<name>/: i386 (the
# 32-bit product target), x86_64, asan (x86_64 under AddressSanitizer +
# UndefinedBehaviorSanitizer) or tsan (x86_64 under ThreadSanitizer).  Every
# configuration builds the speech engine and tavn-say.  BUILD_DIR overrides
# the folder; BUILD_TARGET builds one target only.  Building runs no program
# of the configuration, so the i386 build needs no emulation; running it
# does (scripts/i386-run.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

name=${1:?usage: scripts/build.sh i386|x86_64|asan|tsan [cmake options...]}
shift
dir=${BUILD_DIR:-build/$name}
args=(-G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVN_SPEECH_ENGINE=ON)
case "$name" in
  i386)
    . scripts/i386-env.sh
    args+=(-DCMAKE_TOOLCHAIN_FILE=cmake/i386.cmake "-DTAVN_I386_SYSROOT=$TAVN_I386_SYSROOT") ;;
  # One configuration keeps the build free of warnings, and runs the browser test.
  x86_64) args+=(-DTAVN_WERROR=ON -DTAVN_BROWSER_TEST=ON) ;;
  asan)   args+=(-DTAVN_SANITIZE=ON -DTAVN_BENCH=OFF) ;;
  tsan)   args+=(-DTAVN_TSAN=ON -DTAVN_BENCH=OFF) ;;
  *) echo "unknown configuration: $name" >&2; exit 2 ;;
esac
cmake "${args[@]}" "$@" >/dev/null
cmake --build "$dir" ${BUILD_TARGET:+--target "$BUILD_TARGET"}
