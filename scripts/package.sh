#!/usr/bin/env bash
# Builds the Debian packages (debian/) with dpkg-buildpackage: for amd64,
# this machine's architecture (with the architecture-independent Python and
# Java packages), and for i386, cross-built with the tree's 32-bit
# toolchain.  Run as root on Debian 12; installs what is missing first
# (scripts/deps.sh).  The tests are not run (scripts/test.sh does that).
#
#   scripts/package.sh [amd64] [i386]    (default both)
#
# Each architecture builds in a copy of the tree, build/deb/<arch>/tavn-VERSION,
# and its packages land next to it, in build/deb/<arch>/.  An architecture
# whose packages were built from the same files is not built again
# (TAVN_PACKAGE_REBUILD=1 builds it all the same).
#
# i386 build dependencies: when the engine's i386 libraries are
# co-installed, dpkg-buildpackage checks and uses them as usual.  When
# scripts/deps.sh had to unpack them into build/deps/i386 instead, the build
# links against that folder, and a dpkg database describing those packages
# as installed (scripts/i386-package-db.sh) stands in for the system's: the
# build dependencies are checked against it, and dpkg-shlibdeps takes the
# i386 libraries' packages and versions from it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

arches=("$@")
((${#arches[@]})) || arches=(amd64 i386)
for arch in "${arches[@]}"; do
  case "$arch" in amd64 | i386) ;; *) echo "usage: scripts/package.sh [amd64] [i386]" >&2; exit 2 ;; esac
done
[ "$(dpkg --print-architecture)" = amd64 ] ||
  { echo "package.sh: builds on amd64 only (i386 is cross-built from there)" >&2; exit 1; }

scripts/deps.sh
version=$(dpkg-parsechangelog -SVersion)
DEB_BUILD_OPTIONS="nocheck noautodbgsym parallel=$(nproc)"
# No debug symbol packages are made, so nothing is compiled for them (the
# binaries are stripped either way): a good deal faster for the server.
export DEB_BUILD_OPTIONS DEB_CFLAGS_STRIP=-g DEB_CXXFLAGS_STRIP=-g
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# The tracked and new files of the tree, as they are now, less the tests,
# benchmarks and fuzz targets, which the package build leaves out.
tree_files() {
  git ls-files -z -co --exclude-standard -- . ':!tests' ':!bench' ':!fuzz' |
    while IFS= read -r -d '' f; do [ ! -e "$f" ] || printf '%s\0' "$f"; done
}
tree_key=$(tree_files | xargs -0 sha256sum | sha256sum | cut -c1-16)

# build ARCH: the packages of one architecture, messages prefixed with it.
build() {
  local arch=$1 out=build/deb/$1 src opts
  src=$out/tavn-$version
  if [ "${TAVN_PACKAGE_REBUILD:-0}" = 0 ] && [ "$(cat "$out/.tree" 2>/dev/null)" = "$tree_key" ]; then
    echo "$arch: unchanged since the last build"
    return 0
  fi
  rm -rf "$out"
  mkdir -p "$src"
  tree_files | tar -c --null -T - | tar -x -C "$src"
  opts=(-us -uc)
  if [ "$arch" = amd64 ]; then
    opts+=(-b -Pnocheck)
  else
    opts+=(-B -ai386 "--build-profiles=cross,nocheck")
    if ! dpkg-checkbuilddeps -ai386 --build-profiles=cross,nocheck 2>/dev/null; then
      TAVN_I386_SYSROOT=$root/build/deps/i386
      [ -f "$TAVN_I386_SYSROOT/.unpacked" ] ||
        { echo "$arch: the build dependencies are neither installed nor unpacked" >&2; return 1; }
      TAVN_I386_DPKG_DB=$(scripts/i386-package-db.sh)
      export TAVN_I386_SYSROOT TAVN_I386_DPKG_DB
      opts+=("--admindir=$TAVN_I386_DPKG_DB/admin")
      echo "$arch: build dependencies unpacked in ${TAVN_I386_SYSROOT#"$root"/}, described by ${TAVN_I386_DPKG_DB#"$root"/}"
    fi
  fi
  # Debian's own tools only (a python3 of another origin earlier on PATH
  # would build the Python package).
  if ! (cd "$src" && PATH=/usr/sbin:/usr/bin:/sbin:/bin nice -n 10 dpkg-buildpackage "${opts[@]}") \
    > "$out/build.log" 2>&1; then
    tail -n 40 "$out/build.log" | sed "s/^/$arch: /"
    echo "$arch: the build failed (log: $out/build.log)" >&2
    return 1
  fi
  echo "$tree_key" > "$out/.tree"
  echo "$arch: built $(cd "$out" && echo *.deb)"
}

# Both architectures at once: each has stretches that use one core only.
echo "=== package: ${arches[*]}"
t=$SECONDS
pids=()
for arch in "${arches[@]}"; do
  build "$arch" &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do wait "$pid" || status=1; done
echo "=== package: took $((SECONDS - t)) s"
exit "$status"
