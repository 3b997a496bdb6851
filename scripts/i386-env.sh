# shellcheck shell=bash
# Sourced by the scripts that build or run the i386 configuration.  Prints
# nothing.  Sets TAVN_I386_SYSROOT to the folder the engine's i386 libraries
# were unpacked into by scripts/deps.sh, or to nothing when they are
# co-installed.
#
# - Unpacked libraries: the loader and libespeak-ng are pointed at them.
# - Under user-mode emulation (scripts/i386-run.sh): Debian's i386
#   libespeak-ng lists its voices with a readdir() that has no large-file
#   support.  On ext4 an emulated 32-bit program is handed the 64-bit
#   directory offsets of a 64-bit process, that readdir() fails with
#   EOVERFLOW, and no voice is found.  A copy of the voice data on tmpfs,
#   whose offsets are small, serves it instead.  (A 32-bit kernel, or a
#   64-bit kernel running the program natively, hands out 32-bit offsets.)
#
#   . scripts/i386-env.sh && build/i386/tools/tavn-say -o a.wav "Hello."
TAVN_I386_SYSROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/deps/i386
_data=/usr/lib/i386-linux-gnu
if [ -f "$TAVN_I386_SYSROOT/.unpacked" ]; then
  _data=$TAVN_I386_SYSROOT/usr/lib/i386-linux-gnu
  export LD_LIBRARY_PATH="$_data:$TAVN_I386_SYSROOT/lib/i386-linux-gnu:$_data/pulseaudio${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
  export ESPEAK_DATA_PATH=$_data
else
  TAVN_I386_SYSROOT=
fi
if [ -e /proc/sys/fs/binfmt_misc/tavn-i386 ] && [ -d "$_data/espeak-ng-data" ] && [ -w /dev/shm ]; then
  _copy=/dev/shm/tavn-espeak-i386-$(id -u)
  _stamp="$_data $(stat -c %Y "$_data/espeak-ng-data/phontab" 2>/dev/null)"
  if [ "$(cat "$_copy/.stamp" 2>/dev/null)" != "$_stamp" ]; then
    _tmp=$(mktemp -d /dev/shm/tavn-espeak.XXXXXX)
    cp -a "$_data/espeak-ng-data" "$_tmp/" && echo "$_stamp" > "$_tmp/.stamp"
    rm -rf "$_copy" && mv "$_tmp" "$_copy"
  fi
  export ESPEAK_DATA_PATH=$_copy
  unset _copy _stamp _tmp
fi
unset _data
