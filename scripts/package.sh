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
# and its packages land next to it, in build/deb/<arch>/.
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
export DEB_BUILD_OPTIONS
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# copy_tree DEST: the tracked and new files of the tree, as they are now.
copy_tree() {
  rm -rf "$1"
  mkdir -p "$1"
  git ls-files -z -co --exclude-standard |
    while IFS= read -r -d '' f; do [ ! -e "$f" ] || printf '%s\0' "$f"; done |
    tar -c --null -T - | tar -x -C "$1"
}

for arch in "${arches[@]}"; do
  out=build/deb/$arch
  src=$out/tavn-$version
  echo "=== package: $arch"
  rm -f "$out"/*.deb "$out"/*.changes "$out"/*.buildinfo
  copy_tree "$src"
  opts=(-us -uc)
  if [ "$arch" = amd64 ]; then
    opts+=(-b -Pnocheck)
  else
    opts+=(-B -ai386 "--build-profiles=cross,nocheck")
    if ! dpkg-checkbuilddeps -ai386 --build-profiles=cross,nocheck 2>/dev/null; then
      TAVN_I386_SYSROOT=$root/build/deps/i386
      [ -f "$TAVN_I386_SYSROOT/.unpacked" ] ||
        { echo "package.sh: the i386 build dependencies are neither installed nor unpacked" >&2; exit 1; }
      TAVN_I386_DPKG_DB=$(scripts/i386-package-db.sh)
      export TAVN_I386_SYSROOT TAVN_I386_DPKG_DB
      opts+=("--admindir=$TAVN_I386_DPKG_DB/admin")
      echo "i386 build dependencies: unpacked in ${TAVN_I386_SYSROOT#"$root"/}, described by ${TAVN_I386_DPKG_DB#"$root"/}"
    fi
  fi
  # Debian's own tools only (a python3 of another origin earlier on PATH
  # would build the Python package).
  (cd "$src" && PATH=/usr/sbin:/usr/bin:/sbin:/bin nice -n 10 dpkg-buildpackage "${opts[@]}") \
    > "$out/build.log" 2>&1 ||
    { tail -n 40 "$out/build.log"; echo "package.sh: the $arch build failed (log: $out/build.log)" >&2; exit 1; }
  ls "$out"/*.deb
done
