#!/usr/bin/env bash
# POST /v1/audio/speech through the official openai client library: starts
# TAVND on a loopback port chosen by the system (its log and cache in
# OUTPUT_FOLDER), runs openai_client_test.js against it, stops it.
#
#   tests/server/web/check_openai_client.sh TAVND OUTPUT_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tavnd=${1:?usage: check_openai_client.sh TAVND OUTPUT_FOLDER}
out=${2:?usage: check_openai_client.sh TAVND OUTPUT_FOLDER}
mkdir -p "$out"
out=$(cd "$out" && pwd)
"$here/install_node_packages.sh" "$out/node"

log=$out/openai-tavnd.log
rm -rf "$log" "$out/openai-cache"
"$tavnd" --listen 127.0.0.1:0 --workers 2 --allow-root --log "$log" --cache-dir "$out/openai-cache" &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true' EXIT
port=
for ((i = 0; i < 200; i++)); do
  port=$( (sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$log" 2>/dev/null || true) | head -n 1)
  [ -n "$port" ] && break
  kill -0 "$server" 2>/dev/null || { cat "$log" >&2; echo "check_openai_client.sh: tavnd ended" >&2; exit 1; }
  sleep 0.1
done
[ -n "$port" ] || { cat "$log" >&2; echo "check_openai_client.sh: tavnd gave no port within 20 s" >&2; exit 1; }
node "$here/openai_client_test.js" "http://127.0.0.1:$port/v1" "$out/node"
