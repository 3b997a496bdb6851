#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one in turn for the
# given number of seconds (default 30), at the lowest priority.  Not part of
# scripts/test.sh.  BUILD_DIR overrides the build folder (build/fuzz).
# New inputs go to <build>/fuzz-corpus/<target>/, crash inputs to
# <build>/fuzz-artifacts/; the seed inputs in fuzz/corpus/ are only read.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
dir=${BUILD_DIR:-build/fuzz}
targets=(cfg_reader token_map match find_files sentence_splitter engine_params)

CC=clang CXX=clang++ cmake -G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTAVN_FUZZ=ON -DTAVN_TESTS=OFF -DTAVN_BENCH=OFF >/dev/null
cmake --build "$dir" --parallel 2 --target "${targets[@]/#/fuzz_}"

mkdir -p "$dir/fuzz-artifacts"
for t in "${targets[@]}"; do
  echo "=== fuzz_$t: ${seconds}s"
  mkdir -p "$dir/fuzz-corpus/$t"
  nice -n 19 "$dir/fuzz/fuzz_$t" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix="$dir/fuzz-artifacts/$t-" "$dir/fuzz-corpus/$t" "fuzz/corpus/$t"
done
echo "All fuzz targets ran without a crash."
