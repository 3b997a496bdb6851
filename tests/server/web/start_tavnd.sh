# Sourced by the node tests: starts TAVND on a loopback port chosen by the
# system, its log and cache in a folder of its own, and stops it when the
# calling script exits.  Sets `port`.
#
#   . start_tavnd.sh TAVND FOLDER
# shellcheck shell=bash
start_tavnd() {
  local tavnd=$1 folder=$2 log=$2/tavnd.log i
  rm -rf "$folder"
  mkdir -p "$folder"
  "$tavnd" --listen 127.0.0.1:0 --workers 2 --allow-root --log "$log" --cache-dir "$folder/cache" &
  tavnd_pid=$!
  trap 'kill "$tavnd_pid" 2>/dev/null || true; wait "$tavnd_pid" 2>/dev/null || true' EXIT
  port=
  for ((i = 0; i < 200; i++)); do
    port=$( (sed -n 's/.*listening on 127\.0\.0\.1:\([0-9]*\).*/\1/p' "$log" 2>/dev/null || true) | head -n 1)
    [ -n "$port" ] && return 0
    kill -0 "$tavnd_pid" 2>/dev/null || { cat "$log" >&2; echo "tavnd ended before listening" >&2; exit 1; }
    sleep 0.1
  done
  cat "$log" >&2
  echo "tavnd gave no port within 20 s" >&2
  exit 1
}
start_tavnd "$@"
