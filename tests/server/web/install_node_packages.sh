#!/usr/bin/env bash
# Installs the npm packages that package-lock.json pins (playwright-core,
# openai) into FOLDER/node_modules, reusing them while the lock file is
# unchanged, and npm itself from Debian when it is missing.
#
#   tests/server/web/install_node_packages.sh FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../../.." && pwd)
modules=${1:?usage: install_node_packages.sh FOLDER}
command -v npm >/dev/null || "$root/scripts/apt.sh" install npm
if ! cmp -s "$here/package-lock.json" "$modules/package-lock.json" ||
   [ ! -d "$modules/node_modules" ]; then
  rm -rf "$modules"
  mkdir -p "$modules"
  cp "$here/package.json" "$here/package-lock.json" "$modules/"
  (cd "$modules" && npm ci --no-audit --no-fund --loglevel=error)
fi
