#!/usr/bin/env bash
# Measures what the Java entry's unreleased array elements cost per call on
# the installed JVM (bench/JniCost.java), against a build's libtavn.so and
# the scripted engine.
#   bench/jni_cost.sh [BUILD_DIR] [CALLS]     (defaults: build/x86_64, 5000)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/x86_64}" && pwd); calls=${2:-5000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
javac -d "$work/classes" "$root/java/com/kavri/talvern.java" "$root/bench/JniCost.java"
cd "$work"
java -version 2>&1 | head -1
LD_LIBRARY_PATH="$build:$build/engines/scripted" \
  java -Xms64m -Xmx64m -Djava.library.path="$build" -cp "$work/classes" JniCost "$work" "$calls"
