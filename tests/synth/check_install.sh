#!/usr/bin/env bash
# Installs the build into a temporary prefix, then builds and runs the C
# example against the installed tree through pkg-config and the C++ example
# through CMake's find_package(tavn CONFIG).
set -euo pipefail
build=${1:?build dir}; cc=${2:?C compiler}; cxx=${3:?C++ compiler}; cflags=${4:-}
engine_dir=${5:?engine dir}; examples=${6:?examples dir}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(ls -d "$prefix"/lib*)
# The installed tree holds the speech engine (as libkavritts.so) when the
# build has it; the examples run on the engine of engine_dir, found first.
export LD_LIBRARY_PATH="$engine_dir:$libdir"
link_engine="-Wl,-rpath-link,$engine_dir"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2086,SC2046  # the flags are lists of words on purpose
"$cc" $cflags -std=c99 -Wall -Wextra -Werror -o "$prefix/hello_c" "$examples/c/hello.c" \
  $(pkg-config --cflags --libs tavn) $link_engine
(cd "$prefix" && ./hello_c && test -s hello.wav)

cmake -S "$examples/cpp" -B "$prefix/cpp" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$cflags -Wall -Wextra -Werror" \
  -DCMAKE_EXE_LINKER_FLAGS="$link_engine" >/dev/null
cmake --build "$prefix/cpp" >/dev/null
synch=$(cd "$prefix" && "$prefix/cpp/hello_tavn")
case "$synch" in "{"$'\n'"MediaUrl:\"http://media/hello.wav\","*) ;; *) echo "synch text: $synch"; exit 1 ;; esac
# The Java class, when the build made tavn.jar.
[ ! -e "$build/tavn.jar" ] || jar tf "$prefix/share/java/tavn.jar" | grep 'com/kavri/talvern.class' >/dev/null  # reads it all: no SIGPIPE
echo "installed library ok: pkg-config and find_package"
