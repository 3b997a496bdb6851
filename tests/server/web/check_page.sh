#!/usr/bin/env bash
# The listening page's browser test: Debian's chromium driven by
# playwright-core against a stand-in server (stand_in_server.py) that
# answers the page's routes as tavnd does.  Installs what is missing:
# chromium and sox from Debian, the npm packages into OUTPUT_FOLDER/node
# (install_node_packages.sh).  Screenshots go to OUTPUT_FOLDER.
#
#   tests/server/web/check_page.sh OUTPUT_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../../.." && pwd)
out=${1:?usage: check_page.sh OUTPUT_FOLDER}
mkdir -p "$out"
out=$(cd "$out" && pwd)

for tool in chromium sox python3; do
  command -v "$tool" >/dev/null || "$root/scripts/apt.sh" install "$tool"
done
modules=$out/node
"$here/install_node_packages.sh" "$modules"

# Two sentences of audio, 1.5 s each, and a little silence.
sox -n -r 16000 -b 16 -c 1 "$out/prompt.wav" synth 1.5 sine 440 : synth 1.5 sine 660 : synth 0.5 sine 0
rm -f "$out/port"
python3 "$here/stand_in_server.py" --page "$root/server/web" --audio "$out/prompt.wav" --port-file "$out/port" &
server=$!
trap 'kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true' EXIT
for ((i = 0; i < 100; i++)); do
  [ -s "$out/port" ] && break
  kill -0 "$server" 2>/dev/null || { echo "check_page.sh: the stand-in server did not start" >&2; exit 1; }
  sleep 0.1
done
[ -s "$out/port" ] || { echo "check_page.sh: the stand-in server gave no port within 10 s" >&2; exit 1; }

node "$here/page_test.js" "http://127.0.0.1:$(cat "$out/port")/" "$modules" "$out"
echo "screenshots: $out/page.png, page-error.png, page-wide.png"
