#!/usr/bin/env bash
# Compiles the Java class and a checker with javac and runs them on a JVM
# against the built library and the scripted engine.
set -euo pipefail
src=${1:?source root}; libdir=${2:?libtavn dir}; engine_dir=${3:?engine dir}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
javac -d "$work/classes" "$src/java/com/kavri/talvern.java" "$src/tests/synth/java/TalvernCheck.java"
cd "$work"
LD_LIBRARY_PATH="$libdir:$engine_dir" java -Djava.library.path="$libdir" -cp "$work/classes" TalvernCheck "$work"
