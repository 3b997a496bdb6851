#!/usr/bin/env bash
# Compiles a checker and the Java example against tavn.jar and runs them on
# a JVM against the built library and the scripted engine.
set -euo pipefail
src=${1:?source root}; libdir=${2:?libtavn dir}; engine_dir=${3:?engine dir}; jar=${4:?tavn.jar}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
javac -cp "$jar" -d "$work/classes" "$src/tests/synth/java/TalvernCheck.java" "$src/examples/java/Hello.java"
cd "$work"
export LD_LIBRARY_PATH="$libdir:$engine_dir"
run() { java -Djava.library.path="$libdir" -cp "$jar:$work/classes" "$@"; }
run TalvernCheck "$work"
[ "$(run Hello)" = "hello.wav written" ] && test -s hello.wav
