#!/usr/bin/env bash
# Starts tavnd, the speech server, in the foreground on 127.0.0.1:
#
#   scripts/serve.sh [tavnd options]     e.g. scripts/serve.sh --workers 4
#
# On a fresh Debian 12 machine (as root, or with sudo) it first installs
# what is missing (scripts/deps.sh --native) and builds only tavnd, in
# build/x86_64 (or $BUILD_DIR).  With no --listen it listens on
# 127.0.0.1:7010; started as root without --user it runs as "nobody".
# Ctrl-C (or SIGTERM) lets running requests finish, then stops it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/deps.sh" --native >&2
BUILD_TARGET=tavnd "$root/scripts/build.sh" x86_64 >&2
dir=${BUILD_DIR:-build/x86_64}
case "$dir" in
  /*) ;;
  *) dir="$root/$dir" ;;
esac

args=("$@")
case " ${args[*]} " in
  *" --listen"*) ;;
  *) args+=(--listen 127.0.0.1:7010) ;;
esac
if [ "$(id -u)" -eq 0 ]; then
  case " ${args[*]} " in
    *" --user"* | *" --allow-root"*) ;;
    *) args+=(--user nobody) ;;
  esac
fi
echo "serve.sh: tavnd ${args[*]}" >&2
exec "$dir/server/tavnd" "${args[@]}"
