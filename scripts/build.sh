#!/usr/bin/env bash
# Configures and builds one configuration: i386, x86_64, asan (x86_64 under
# AddressSanitizer + UndefinedBehaviorSanitizer) or tsan (x86_64 under
# ThreadSanitizer), into build/<name>/.
# BUILD_DIR overrides the folder; BUILD_TARGET builds one target only.
set -euo pipefail
cd "$(dirname "$0")/.."

name=${1:?usage: scripts/build.sh i386|x86_64|asan|tsan [cmake options...]}
shift
dir=${BUILD_DIR:-build/$name}
args=(-G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo)
case "$name" in
  i386)   args+=(-DCMAKE_TOOLCHAIN_FILE=cmake/i386.cmake) ;;
  x86_64) args+=(-DTAVN_ESPEAK_ENGINE=ON) ;;
  asan)   args+=(-DTAVN_SANITIZE=ON -DTAVN_BENCH=OFF -DTAVN_ESPEAK_ENGINE=ON) ;;
  tsan)   args+=(-DTAVN_TSAN=ON -DTAVN_BENCH=OFF -DTAVN_ESPEAK_ENGINE=ON) ;;
  *) echo "unknown configuration: $name" >&2; exit 2 ;;
esac
cmake "${args[@]}" "$@" >/dev/null
cmake --build "$dir" ${BUILD_TARGET:+--target "$BUILD_TARGET"}
