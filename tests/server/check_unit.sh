#!/usr/bin/env bash
# Checks tavnd's systemd unit with systemd-analyze verify, its ExecStart
# pointed at the built tavnd (verify wants the program to exist).
#   check_unit.sh UNIT_FILE TAVND
set -euo pipefail
unit=$1 tavnd=$2
if ! command -v systemd-analyze >/dev/null; then
  echo "systemd-analyze is missing: the unit is not checked"
  exit 0
fi
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
sed "s|/usr/sbin/tavnd|$tavnd|" "$unit" > "$dir/tavnd.service"
# shellcheck disable=SC2016  # systemd's $MAINPID, not the shell's
grep -qx 'ExecReload=/bin/kill -HUP $MAINPID' "$dir/tavnd.service"
# man: pages and the unit's user need not exist on a build machine.
if ! out=$(systemd-analyze verify --man=no "$dir/tavnd.service" 2>&1); then
  printf '%s\n' "$out"
  exit 1
fi
if [ -n "$out" ]; then
  printf '%s\n' "$out"
  echo "systemd-analyze verify has remarks on the unit" >&2
  exit 1
fi
echo "tavnd.service: systemd-analyze verify is content"
