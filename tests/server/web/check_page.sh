#!/usr/bin/env bash
# The listening page's browser test: Debian's chromium driven by
# playwright-core against TAVND itself, started on a loopback port chosen
# by the system (start_tavnd.sh).  Installs what is missing: chromium from
# Debian, the npm packages into OUTPUT_FOLDER/node
# (install_node_packages.sh).  Screenshots go to OUTPUT_FOLDER.
#
#   tests/server/web/check_page.sh TAVND OUTPUT_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../../.." && pwd)
tavnd=${1:?usage: check_page.sh TAVND OUTPUT_FOLDER}
out=${2:?usage: check_page.sh TAVND OUTPUT_FOLDER}
mkdir -p "$out"
out=$(cd "$out" && pwd)
command -v chromium >/dev/null || "$root/scripts/apt.sh" install chromium
"$here/install_node_packages.sh" "$out/node"
# shellcheck source=tests/server/web/start_tavnd.sh
. "$here/start_tavnd.sh" "$tavnd" "$out/page-tavnd"
node "$here/page_test.js" "http://127.0.0.1:$port/" "$out/node" "$out"
echo "screenshots: $out/page.png, page-error.png, page-wide.png"
