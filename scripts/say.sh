#!/usr/bin/env bash
# Speaks a text into a WAVE file and shows its synch text:
#
#   scripts/say.sh [tavn-say options] TEXT...
#   scripts/say.sh -o hello.wav "Hello world. This is libtavn."
#
# On a fresh Debian 12 machine (as root, or with sudo) it first installs
# what is missing (scripts/deps.sh) and builds only tavn-say and what it
# needs, in build/x86_64 (or in $BUILD_DIR, relative to the repository).
# Then it runs tavn-say with the arguments, adding --synch unless they ask
# for it themselves.  Build messages go to standard error, so standard
# output carries only the synch text.  See tools/README.md for the options.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/deps.sh" >&2
BUILD_TARGET=tavn-say "$root/scripts/build.sh" x86_64 >&2

dir=${BUILD_DIR:-build/x86_64}
case "$dir" in
  /*) ;;
  *) dir="$root/$dir" ;;
esac

synch=(--synch)
for arg in "$@"; do
  case "$arg" in
    --) break ;;
    --synch | --synch=* | -h | --help) synch=() ;;
  esac
done
exec "$dir/tools/tavn-say" "${synch[@]}" "$@"
