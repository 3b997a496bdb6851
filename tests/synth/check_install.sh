#!/usr/bin/env bash
# Installs the build into a temporary prefix, then compiles, links and runs
# a small C program against the installed tree through pkg-config.
set -euo pipefail
build=${1:?build dir}; cc=${2:?C compiler}; cflags=${3:-}; engine_dir=${4:?engine dir}; src=${5:?source}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(ls -d "$prefix"/lib*)
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2086
"$cc" $cflags -std=c99 -Wall -Wextra -Werror -o "$prefix/speak" "$src" \
  $(pkg-config --cflags --libs tavn) -Wl,-rpath-link,"$engine_dir"
cd "$prefix"
LD_LIBRARY_PATH="$libdir:$engine_dir" ./speak
