#!/usr/bin/env bash
# POST /v1/audio/speech through the official openai client library: starts
# TAVND on a loopback port chosen by the system (start_tavnd.sh), runs
# openai_client_test.js against it, stops it.
#
#   tests/server/web/check_openai_client.sh TAVND OUTPUT_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tavnd=${1:?usage: check_openai_client.sh TAVND OUTPUT_FOLDER}
out=${2:?usage: check_openai_client.sh TAVND OUTPUT_FOLDER}
mkdir -p "$out"
out=$(cd "$out" && pwd)
"$here/install_node_packages.sh" "$out/node"
# shellcheck source=tests/server/web/start_tavnd.sh
. "$here/start_tavnd.sh" "$tavnd" "$out/openai-tavnd"
node "$here/openai_client_test.js" "http://127.0.0.1:$port/v1" "$out/node"
