#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing need; does
# nothing when they are all present.  Run as root (or with sudo available).
set -euo pipefail

packages=(
  g++ g++-multilib cmake ninja-build googletest   # both targets and the tests
  default-jdk-headless locales                    # JNI header, Java test, "chs" locale
  libespeak-ng-dev espeak-ng espeak-ng-data       # the speech engine and its reference
  libsoxr-dev libspandsp-dev sox                  # resampling, telephony codecs, audio checks
  libspdlog-dev                                   # logger benchmark baseline
  # flite voices, MP3 and AMR coding for the engine; flite and ffmpeg
  # (ffprobe) are the references and decoders of its tests
  flite1-dev flite libmp3lame-dev libopencore-amrnb-dev libvo-amrwbenc-dev ffmpeg
  clang libclang-rt-14-dev                        # fuzz targets
  pkg-config file binutils
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  echo "Installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
