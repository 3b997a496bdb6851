#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing need; does
# nothing when they are all present.  Run as root (or with sudo available).
#
# The 32-bit (i386) builds need the i386 editions of the engine's libraries.
# They are co-installed through multiarch; where that fails (the two
# architectures' versions of a shared dependency disagree, as they do while
# a mirror is mid-sync), the i386 packages and their dependencies are
# unpacked into build/deps/i386 and the i386 build links from there
# (scripts/i386-env.sh points the loader at it).
#
#   scripts/deps.sh            everything
#   scripts/deps.sh --native   only what the x86_64 builds need
#   scripts/deps.sh --i386-list  print the i386 packages, one a line
#   TAVN_I386_DEPS=unpack      skip the co-install and unpack right away
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

packages=(
  g++ g++-multilib cmake ninja-build googletest   # both targets and the tests
  default-jdk-headless locales                    # JNI header, Java test, "chs" locale
  libespeak-ng-dev espeak-ng espeak-ng-data       # the speech engine and its reference
  libsoxr-dev libspandsp-dev sox                  # resampling, telephony codecs, audio checks
  libspdlog-dev                                   # logger benchmark baseline
  # flite voices, MP3 and AMR coding for the engine; flite and ffmpeg
  # (ffprobe) are the references and decoders of its tests
  flite1-dev flite libmp3lame-dev libopencore-amrnb-dev libvo-amrwbenc-dev ffmpeg
  libexpat1-dev libicu-dev libsndfile1-dev        # SSML reading, spelling numbers, <audio> files
  libboost-dev nlohmann-json3-dev                 # HTTP (Boost.Beast) for tavnd and the engine's client
  libxxhash-dev                                   # the prompt cache's checksums (header only)
  nginx curl procps psmisc                        # the tavnd farm test, server checks
  wrk                                             # load for bench/bench_cache_hits.sh
  prometheus                                      # promtool checks tavnd's metrics text
  chromium                                        # the listening page's browser test
  systemd                                         # systemd-analyze verify for tavnd's unit
  clang libclang-rt-14-dev                        # fuzz targets
  clang-format shellcheck                         # scripts/lint.sh
  pkg-config file binutils
  # Debian packages (scripts/package.sh, scripts/package-test.sh)
  dpkg-dev debhelper dh-python pybuild-plugin-pyproject python3-all binutils-i686-linux-gnu
  lintian debootstrap zstd
  python3 python3-venv python3-pytest python3-setuptools python3-wheel   # the Python package and its tests
)
# The engine's libraries for the i386 build.
i386_packages=(libespeak-ng-dev libsoxr-dev libspandsp-dev espeak-ng-data
               flite1-dev libmp3lame-dev libopencore-amrnb-dev libvo-amrwbenc-dev
               libexpat1-dev libicu-dev libsndfile1-dev)
# Packages that the 32-bit toolchain (g++-multilib) already provides: never
# unpacked, so that the C and C++ runtimes stay the toolchain's own.
toolchain_packages=' gcc-12-base libc6 libc6-dev libc-dev-bin libcrypt1 libcrypt-dev libgcc-s1
  libstdc++6 libgomp1 linux-libc-dev libnsl2 libnsl-dev libtirpc3 libtirpc-dev libtirpc-common rpcsvc-proto '

if [ "${1:-}" = --i386-list ]; then
  printf '%s\n' "${i386_packages[@]}"
  exit 0
fi

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }

missing=()
for p in "${packages[@]}"; do installed "$p" || missing+=("$p"); done
"$root/scripts/apt.sh" install "${missing[@]}" ||
  { echo "deps.sh: cannot install ${missing[*]} from the configured package mirrors" >&2; exit 1; }
((${#missing[@]})) && export TAVN_APT_UPDATED=1

[ "${1:-}" = --native ] && exit 0

# The folder as the file system names it: build/deps may be a link to a
# folder shared between trees, and the stamp and links name this path.
sysroot=$(realpath -m "$root/build/deps/i386")
stamp="$sysroot/.unpacked ${i386_packages[*]}"
all_i386() { for p in "${i386_packages[@]}"; do installed "$p:i386" || return 1; done; }

if all_i386; then
  rm -rf "$sysroot"   # the system's own i386 libraries serve the build
  exit 0
fi
if [ -f "$sysroot/.unpacked" ] && [ "$(cat "$sysroot/.unpacked")" = "$stamp" ]; then
  exit 0
fi

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
if ! dpkg --print-foreign-architectures | grep -qx i386; then
  "${sudo_cmd[@]}" dpkg --add-architecture i386
  unset TAVN_APT_UPDATED   # the i386 indexes are still to be fetched
fi
if [ "${TAVN_I386_DEPS:-}" != unpack ] &&
   TAVN_APT_TRIES=2 "$root/scripts/apt.sh" install "${i386_packages[@]/%/:i386}"; then
  rm -rf "$sysroot"
  exit 0
fi

echo "i386 libraries: co-installing them failed; unpacking them into ${sysroot#"$root"/}" >&2
rm -rf "$sysroot"
mkdir -p "$sysroot"
debs=$(mktemp -d)
trap 'rm -rf "$debs"' EXIT
"$root/scripts/apt.sh" download "$debs" "${i386_packages[@]/%/:i386}" ||
  { echo "deps.sh: cannot download the i386 packages ${i386_packages[*]}" >&2; exit 1; }
for deb in "$debs"/*.deb; do
  name=$(dpkg-deb -f "$deb" Package)
  case "$toolchain_packages" in *" $name "*) continue ;; esac
  dpkg-deb -x "$deb" "$sysroot"
done
# Absolute links inside the packages point into the host: point them into the tree.
find "$sysroot" -type l -lname '/*' | while read -r link; do
  ln -sfn "$sysroot$(readlink "$link")" "$link"
done
echo "$stamp" > "$sysroot/.unpacked"
