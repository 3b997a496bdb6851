#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one in turn over its
# seed inputs and then for the given number of seconds (default 30), at the
# lowest priority.  BUILD_DIR overrides the build folder (build/fuzz).
# New inputs go to <build>/fuzz-corpus/<target>/, crash inputs to
# <build>/fuzz-artifacts/; the seed inputs in fuzz/corpus/ are only read.
#
#   scripts/fuzz.sh [SECONDS]   every target, with libFuzzer's full output
#   scripts/fuzz.sh --smoke     5 seconds each, one line per target (the test
#                               command runs this); a target's output is shown
#                               only when it fails
# Exits non-zero when a target crashes or fails a check.
set -euo pipefail
cd "$(dirname "$0")/.."

smoke=0
seconds=${1:-30}
if [ "$seconds" = --smoke ]; then
  smoke=1
  seconds=5
fi
dir=${BUILD_DIR:-build/fuzz}
targets=(cfg_reader token_map match find_files sentence_splitter engine_params markup sound_file
         wire_format)
targets+=(server_config)           # tavnd's configuration and the parameters it passes on
targets+=(say_options say_synch)   # tavn-say's command line and synch-text reader
targets+=(speech_request)           # tavnd's JSON requests

CC=clang CXX=clang++ cmake -G Ninja -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTAVN_FUZZ=ON -DTAVN_TESTS=OFF -DTAVN_BENCH=OFF >/dev/null
if ((smoke)); then
  cmake --build "$dir" --parallel 2 --target "${targets[@]/#/fuzz_}" >/dev/null
else
  cmake --build "$dir" --parallel 2 --target "${targets[@]/#/fuzz_}"
fi

# A smaller quarantine than AddressSanitizer's 256 MB: the targets allocate
# many small strings, and with the default every allocation touches fresh
# pages, which halves the inputs per second.
export ASAN_OPTIONS=${ASAN_OPTIONS:-quarantine_size_mb=16}
mkdir -p "$dir/fuzz-artifacts" "$dir/fuzz-logs"
for t in "${targets[@]}"; do
  mkdir -p "$dir/fuzz-corpus/$t"
  run=(nice -n 19 "$dir/fuzz/fuzz_$t" -max_total_time="$seconds" -print_final_stats=1
       -artifact_prefix="$dir/fuzz-artifacts/$t-" "$dir/fuzz-corpus/$t" "fuzz/corpus/$t")
  if ((smoke)); then
    log=$dir/fuzz-logs/$t.log
    if ! "${run[@]}" >"$log" 2>&1; then
      tail -n 60 "$log"
      echo "fuzz_$t failed; its whole output is in $log" >&2
      exit 1
    fi
    echo "fuzz_$t: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") runs in ${seconds} s, no crash"
  else
    echo "=== fuzz_$t: ${seconds}s"
    "${run[@]}"
  fi
done
echo "All fuzz targets ran without a crash."
