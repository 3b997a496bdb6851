#!/usr/bin/env bash
# Speaks a text into a WAVE file and shows its synch text:
#
#   scripts/say.sh [--target i386|x86_64] [tavn-say options] TEXT...
#   scripts/say.sh -o hello.wav "Hello world. This is libtavn."
#   scripts/say.sh --target i386 -o hello.wav "Hello from the 32-bit build."
#
# On a fresh Debian 12 machine (as root, or with sudo) it first installs
# what is missing (scripts/deps.sh) and builds only tavn-say and what it
# needs, in build/x86_64, or build/i386 with --target i386 (or in
# $BUILD_DIR, relative to the repository).  The i386 build runs natively
# or under user-mode emulation (scripts/i386-run.sh).  Then it runs
# tavn-say with the arguments, adding --synch unless they ask for it
# themselves.  Build messages go to standard error, so standard output
# carries only the synch text.  See tools/README.md for the options.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

target=x86_64
args=()
while (($#)); do
  case "$1" in
    --target) target=${2:?--target needs i386 or x86_64}; shift 2 ;;
    --target=*) target=${1#--target=}; shift ;;
    --) args+=("$@"); break ;;
    *) args+=("$1"); shift ;;
  esac
done
case "$target" in
  x86_64) "$root/scripts/deps.sh" --native >&2 ;;
  i386) "$root/scripts/deps.sh" >&2; "$root/scripts/i386-run.sh" >&2 ;;
  *) echo "say.sh: --target takes i386 or x86_64" >&2; exit 2 ;;
esac
BUILD_TARGET=tavn-say "$root/scripts/build.sh" "$target" >&2

dir=${BUILD_DIR:-build/$target}
case "$dir" in
  /*) ;;
  *) dir="$root/$dir" ;;
esac
[ "$target" != i386 ] || . "$root/scripts/i386-env.sh"

synch=(--synch)
for arg in "${args[@]}"; do
  case "$arg" in
    --) break ;;
    --synch | --synch=* | -h | --help) synch=() ;;
  esac
done
exec "$dir/tools/tavn-say" "${synch[@]}" "${args[@]}"
