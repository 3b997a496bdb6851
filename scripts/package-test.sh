#!/usr/bin/env bash
# The packaging test: builds the Debian packages for amd64 and i386
# (scripts/package.sh), requires lintian to find no error in them, then
# installs them with apt from a local repository into a bare Debian 12 root
# and uses them there as a new user would (tests/packages/check_packages.sh:
# the C and C++ examples for both architectures, tavn-say, the Python
# package, the jar, tavnd's unit), removes and purges them, and checks that
# nothing is left.  Run as root.
#
# The root: debootstrap --variant=minbase of bookworm from deb.debian.org
# (main only, whose amd64 and i386 indexes agree), with the tools the checks
# use and the packages' own dependencies.  It is kept as a tarball,
# build/deb/root-BASE-DEPS.tar.zst, named after those two package lists;
# without one, debootstrap runs while the packages build.  Each run unpacks
# the root onto a tmpfs.  The script runs in a mount namespace of its own,
# so its mounts vanish when it ends, however it ends; the trap unmounts
# them first.  When no root is kept and debootstrap cannot reach the
# mirror, the root checks are skipped, saying so in one line.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
if [ "${TAVN_PACKAGE_TEST_NS:-}" != 1 ]; then
  TAVN_PACKAGE_TEST_NS=1 exec unshare --mount --propagation private "$0" "$@"
fi

mirror=http://deb.debian.org/debian
# What the checks run inside the root.
tools=(gcc g++ libc6-dev make cmake pkgconf python3 g++-i686-linux-gnu systemd)
base_key=$(printf '%s\n' bookworm "$mirror" "${tools[@]}" | sha256sum | cut -c1-12)
kept=build/deb

work=$(mktemp -d /tmp/tavn-package-test.XXXXXX)
fs=$work/root
mounts=()
boot_pid=
lint_pid=
cleanup() {
  # The background jobs run in sessions of their own: end each whole.
  local pid
  for pid in $boot_pid $lint_pid; do kill -- "-$pid" 2>/dev/null || true; done
  wait
  local i
  for ((i = ${#mounts[@]} - 1; i >= 0; i--)); do umount "${mounts[i]}" || umount -l "${mounts[i]}"; done
  rm -rf --one-file-system "$work"
}
trap cleanup EXIT
mount_at() {  # mount_at TARGET MOUNT-ARGUMENTS...: mounted until the script ends
  mount "${@:2}" "$1"
  mounts+=("$1")
}
unmount_last() {
  umount "${mounts[-1]}"
  unset 'mounts[-1]'
}
in_root() { chroot "$fs" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "$@"; }

mkdir -p "$fs"
mount_at "$fs" -t tmpfs -o size=6g,mode=755 tavn-root
mirror_up() { curl -fsS --max-time 20 -o /dev/null "$mirror/dists/bookworm/InRelease" 2>/dev/null; }
mapfile -t kept_roots < <(ls "$kept"/root-"$base_key"-*.tar.zst 2>/dev/null)
skip=
if ((${#kept_roots[@]} == 0)); then
  if mirror_up; then
    echo "=== package test: debootstrap of a bookworm root runs while the packages build"
    setsid nice -n 10 debootstrap --variant=minbase --include="$(IFS=,; echo "${tools[*]}")" \
      bookworm "$fs" "$mirror" > "$work/debootstrap.log" 2>&1 &
    boot_pid=$!
  else
    skip="debootstrap cannot reach $mirror and no root is kept in $kept"
  fi
fi

scripts/package.sh
debs=("$kept"/amd64/*.deb "$kept"/i386/*.deb)
# lintian runs while the root is made ready.
setsid lintian --fail-on error "$kept"/amd64/*.changes "$kept"/i386/*.changes > "$work/lintian.log" 2>&1 &
lint_pid=$!
lint_done() {
  local status=0
  wait "$lint_pid" || status=$?
  lint_pid=
  grep -v 'running with root privileges' "$work/lintian.log" || true
  ((status == 0)) || { echo "package test: lintian found errors" >&2; exit 1; }
  echo "=== package test: lintian found no errors"
}

# The packages' dependencies from the archive, for the architecture of the
# package that needs them (first of each set of alternatives).
deps=$(for deb in "${debs[@]}"; do
  arch=$(dpkg-deb -f "$deb" Architecture)
  dpkg-deb -f "$deb" Depends Pre-Depends | sed 's/^[A-Za-z-]*: //' | tr ',' '\n' |
    sed -e 's/|.*//' -e 's/(.*)//' -e 's/:any//' -e 's/ //g' -e '/^$/d' |
    { if [ "$arch" = i386 ]; then sed 's/$/:i386/'; else cat; fi; }
done | sort -u)
ours=$(for deb in "${debs[@]}"; do name=$(dpkg-deb -f "$deb" Package); echo "$name"; echo "$name:i386"; done)
mapfile -t deps < <(grep -vxF -f <(echo "$ours") <<<"$deps")
deps_key=$(printf '%s\n' "${deps[@]}" | sha256sum | cut -c1-12)
tarball=$kept/root-$base_key-$deps_key.tar.zst
[ -f "$tarball" ] || [ -n "$boot_pid" ] || mirror_up ||
  skip=${skip:-"the kept root lacks dependencies and $mirror cannot be reached"}
if [ -n "$skip" ]; then
  lint_done
  echo "package test: root checks skipped: $skip"
  exit 0
fi

t=$SECONDS
if [ -f "$tarball" ]; then
  zstd -dc "$tarball" | tar -x -C "$fs"
else
  echo "=== package test: the root gets the packages' dependencies"
  if [ -n "$boot_pid" ]; then
    wait "$boot_pid" || { tail -n 20 "$work/debootstrap.log"; echo "package test: debootstrap failed" >&2; exit 1; }
    boot_pid=
  else
    zstd -dc "${kept_roots[0]}" | tar -x -C "$fs"
  fi
  cp /etc/resolv.conf "$fs/etc/resolv.conf"
  mount_at "$fs/proc" -t proc proc
  in_root dpkg --add-architecture i386
  in_root apt-get -qq update
  DEBIAN_FRONTEND=noninteractive in_root apt-get -qq -y --no-install-recommends \
    -o Dpkg::Use-Pty=0 install "${deps[@]}" > "$work/deps.log" 2>&1 ||
    { tail -n 20 "$work/deps.log"; echo "package test: the dependencies do not install" >&2; exit 1; }
  in_root apt-get clean
  unmount_last
  rm -f "$kept"/root-*.tar.zst
  tar -C "$fs" -c . | zstd -q -T0 -3 > "$tarball.part"
  mv "$tarball.part" "$tarball"
fi
echo "=== package test: root ready in $((SECONDS - t)) s"
lint_done

scripts/i386-run.sh
mkdir -p "$fs/srv/tavn/repo"
cp "${debs[@]}" "$fs/srv/tavn/repo/"
(cd "$fs/srv/tavn/repo" && dpkg-scanpackages --multiversion . > Packages 2>/dev/null)
cp -r examples "$fs/srv/tavn/examples"
cp tests/packages/check_packages.sh "$fs/srv/tavn/"
mount_at "$fs/proc" -t proc proc
t=$SECONDS
in_root /bin/bash /srv/tavn/check_packages.sh
echo "=== package test: checks in the root took $((SECONDS - t)) s"
