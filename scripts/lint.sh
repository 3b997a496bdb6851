#!/usr/bin/env bash
# The cheap checks of the test command, run before anything is built:
# the C and C++ sources are formatted as .clang-format says
# (scripts/format.sh --check), and every shell script of the repository
# passes shellcheck (settings in .shellcheckrc).  Exits non-zero, naming
# the files, when either check fails.  Needs clang-format and shellcheck
# (scripts/deps.sh installs both).
set -euo pipefail
cd "$(dirname "$0")/.."

status=0
echo "--- clang-format"
scripts/format.sh --check || { echo "lint: the files above are not formatted (scripts/format.sh fixes them)"; status=1; }
echo "--- shellcheck"
mapfile -t scripts < <(git ls-files -- '*.sh' .ci/run)
# -x: follow the files the scripts source (paths are relative to the repository).
shellcheck -x "${scripts[@]}" || { echo "lint: shellcheck found the problems above"; status=1; }
[ "$status" -ne 0 ] || echo "lint: ${#scripts[@]} shell scripts and the C and C++ sources are clean"
exit "$status"
