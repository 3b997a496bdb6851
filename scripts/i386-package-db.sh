#!/usr/bin/env bash
# Makes a dpkg database that describes the engine's i386 packages as
# installed, for an i386 package build on a machine where they could not be
# co-installed (scripts/deps.sh unpacked them into build/deps/i386 instead).
# Debian's tools read it in place of the system's (debian/rules):
#   admin/  dpkg's administrative folder: this machine's packages plus the
#           i386 ones, with their file lists, symbols and shlibs files
#           (dpkg-checkbuilddeps checks the build dependencies against it,
#           dpkg-shlibdeps finds which package each library comes from)
#   root/   the shared libraries of those packages, the i386 C and C++
#           runtimes among them, where the file lists say they are
# Prints the folder.  The downloaded and unpacked packages are kept between
# runs and fetched again when scripts/deps.sh's i386 list changes; the
# machine's own packages are read afresh every time.
#
#   scripts/i386-package-db.sh [FOLDER]     (default build/deb/i386-db)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
db=${1:-$root/build/deb/i386-db}
mapfile -t packages < <("$root/scripts/deps.sh" --i386-list)
stamp="${packages[*]}"

# One package: its status paragraph, its file list (paths under root/), its
# symbols and shlibs files, and its shared libraries unpacked.
record() {
  local deb=$1 control files name arch multi key
  control=$(mktemp -d)
  dpkg-deb -e "$deb" "$control"
  name=$(sed -n 's/^Package: //p' "$control/control")
  arch=$(sed -n 's/^Architecture: //p' "$control/control")
  multi=$(sed -n 's/^Multi-Arch: //p' "$control/control")
  # dpkg names the files of a Multi-Arch: same package after its
  # architecture; other packages have one instance only.
  if [ "$multi" = same ]; then key=$name:$arch; else key=$name; echo "$name" >> "$db/keys"; fi
  echo "$name:$arch" >> "$db/keys"
  { cat "$control/control"; printf 'Status: install ok installed\n\n'; } >> "$db/paragraphs"
  for f in symbols shlibs; do
    [ ! -f "$control/$f" ] || cp "$control/$f" "$db/admin/info/$key.$f"
  done
  rm -rf "$control"
  files=$(dpkg-deb --fsys-tarfile "$deb" | tar -t)
  sed -e 's|^\./|/|' -e 's|/$||' -e '/^$/d' -e "s|^|$db/root|" <<<"$files" > "$db/admin/info/$key.list"
  mapfile -t libs < <(grep -E '\.so(\.[0-9.]+)?$' <<<"$files" || true)
  ((${#libs[@]} == 0)) || dpkg-deb --fsys-tarfile "$deb" | tar -x -C "$db/root" "${libs[@]}"
}

if [ "$(cat "$db/.stamp" 2>/dev/null)" != "$stamp" ]; then
  rm -rf "$db"
  mkdir -p "$db/admin/info" "$db/admin/updates" "$db/root"
  echo 1 > "$db/admin/info/format"   # info files named package:architecture
  debs=$(mktemp -d)
  trap 'rm -rf "$debs"' EXIT
  # The mirror's complaints matter only when the download fails.
  "$root/scripts/apt.sh" download "$debs" "${packages[@]/%/:i386}" > "$debs/apt.log" 2>&1 ||
    { cat "$debs/apt.log" >&2; exit 1; }
  for deb in "$debs"/*.deb; do record "$deb"; done
  echo "$stamp" > "$db/.stamp"
fi

# The machine's own packages, less those the i386 set stands in for (the
# same package and architecture, or any instance of a package that cannot
# be installed for two architectures at once).
awk -v keys="$db/keys" '
  BEGIN { while ((getline k < keys) > 0) ours[k] = 1; RS = ""; FS = "\n"; ORS = "\n\n" }
  {
    p = a = ""
    for (i = 1; i <= NF; i++) {
      if ($i ~ /^Package: /) p = substr($i, 10)
      if ($i ~ /^Architecture: /) a = substr($i, 15)
    }
    if (!((p ":" a) in ours) && !(p in ours)) print
  }' /var/lib/dpkg/status > "$db/admin/status"
cat "$db/paragraphs" >> "$db/admin/status"
{ dpkg --print-architecture; dpkg --print-foreign-architectures; echo i386; } | sort -u > "$db/admin/arch"
echo "$db"
