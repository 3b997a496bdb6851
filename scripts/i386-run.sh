#!/usr/bin/env bash
# Makes this machine run 32-bit x86 (i386) programs, natively when the kernel
# can, otherwise under user-mode emulation (qemu-i386 registered for i386 ELF
# files through binfmt_misc, so a 32-bit program that starts another 32-bit
# program works too).  Prints one line saying which.
#
#   scripts/i386-run.sh            set up, print how i386 programs run
#   TAVN_I386_EMULATE=1 ...        emulate even where the kernel runs them
#   scripts/i386-run.sh --stop     remove the registration this script made
#
# Needs root for the emulated path (installs qemu-user, mounts binfmt_misc).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

handler=tavn-i386
binfmt=/proc/sys/fs/binfmt_misc
qemu=/usr/bin/qemu-i386
# ELF header of a 32-bit little-endian x86 executable or shared object.
magic='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00'
mask='\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'

probe_dir=$(mktemp -d)
trap 'rm -rf "$probe_dir"' EXIT
probe() {  # 0 when a freshly built i386 program runs here
  [ -x "$probe_dir/probe" ] ||
    printf 'int main(void) { return sizeof(void*) == 4 ? 0 : 1; }\n' |
      gcc -m32 -x c - -o "$probe_dir/probe" ||
    { echo "i386-run: cannot build a 32-bit program (is g++-multilib installed?)" >&2; exit 1; }
  "$probe_dir/probe" 2>/dev/null
}

unregister() {
  [ -e "$binfmt/$handler" ] && echo -1 > "$binfmt/$handler"
  return 0
}

if [ "${1:-}" = --stop ]; then
  unregister
  exit 0
fi

force=${TAVN_I386_EMULATE:-0}
if [ "$force" = 0 ]; then
  unregister   # a registration left by a forced run would hide the native path
  if probe; then
    echo "i386 programs: run natively (the kernel runs 32-bit programs)"
    exit 0
  fi
fi

[ -x "$qemu" ] || "$root/scripts/apt.sh" install qemu-user
if [ ! -e "$binfmt/register" ]; then
  mount -t binfmt_misc binfmt_misc "$binfmt" ||
    { echo "i386-run: cannot mount binfmt_misc (needs root); i386 programs cannot run" >&2; exit 1; }
fi
[ "$(cat "$binfmt/status")" = enabled ] || echo 1 > "$binfmt/status"
if [ ! -e "$binfmt/$handler" ]; then
  # F: the kernel opens qemu now, so the handler works in any mount namespace.
  printf ':%s:M::%s:%s:%s:F' "$handler" "$magic" "$mask" "$qemu" > "$binfmt/register"
fi
probe || { echo "i386-run: i386 programs do not run even under $qemu" >&2; exit 1; }
if [ "$force" = 0 ]; then
  echo "i386 programs: run under user-mode emulation ($qemu via binfmt_misc; the kernel refuses 32-bit programs)"
else
  echo "i386 programs: run under user-mode emulation ($qemu via binfmt_misc; forced by TAVN_I386_EMULATE)"
fi
