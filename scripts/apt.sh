#!/usr/bin/env bash
# apt-get with retries, so that a passing fault of the package mirror (an
# index caught mid-sync, a dropped connection) does not end a set-up.
#
#   scripts/apt.sh install PKG...       update the indexes, install what is missing
#   scripts/apt.sh download DIR PKG...  fetch PKG and its dependencies (as if nothing
#                                       were installed) as .deb files into DIR;
#                                       PKG may carry an architecture (pkg:i386)
#
# Fails with a clear message only when a package still cannot be had after
# the last try.  TAVN_APT_TRIES sets the number of tries (default 4).
set -euo pipefail

tries=${TAVN_APT_TRIES:-4}
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive

# Index refresh: a failed index is only a warning here; whether the
# packages can be had is decided by the install that follows.
# Done once per set-up run (TAVN_APT_UPDATED is passed on to later calls).
update() {
  [ -z "${TAVN_APT_UPDATED:-}" ] || [ "${1:-}" = again ] || return 0
  "${sudo_cmd[@]}" apt-get update -qq 2>&1 | sed 's/^/apt-get update: /' >&2 || true
  export TAVN_APT_UPDATED=1
}

retry() {  # retry WHAT COMMAND...: run COMMAND, refreshing the indexes between tries
  local what=$1 n
  shift
  for ((n = 1; ; n++)); do
    "$@" && return 0
    if ((n >= tries)); then
      echo "apt.sh: $what failed after $n tries" >&2
      return 1
    fi
    echo "apt.sh: $what failed (try $n of $tries); retrying in $((n * 10)) s" >&2
    sleep $((n * 10))
    update again
  done
}

cmd=${1:?usage: scripts/apt.sh install PKG... | download DIR PKG...}
shift
case "$cmd" in
  install)
    (($#)) || exit 0
    echo "Installing: $*" >&2
    update
    retry "installing $*" "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "$@"
    ;;
  download)
    dir=${1:?download needs a folder}
    shift
    # A private package state with nothing installed, so that apt resolves
    # the whole dependency closure for the packages' own architecture,
    # whatever versions this machine has installed for its own.
    state=$(mktemp -d)
    trap 'rm -rf "$state"' EXIT
    mkdir -p "$state/cache/archives/partial" "$dir"
    : > "$state/status"
    arch_opts=()
    case "${1:-}" in
      *:*) arch=${1##*:}; arch_opts=(-o "APT::Architecture=$arch" -o "APT::Architectures::=$arch") ;;
    esac
    update
    retry "downloading $*" apt-get -qq -y --no-install-recommends --download-only \
      -o Debug::NoLocking=1 -o APT::Sandbox::User=root -o "Dir::State::status=$state/status" -o "Dir::Cache=$state/cache" \
      "${arch_opts[@]}" install "${@%%:*}"
    mv "$state"/cache/archives/*.deb "$dir"/
    ;;
  *) echo "apt.sh: unknown command $cmd" >&2; exit 2 ;;
esac
