#!/usr/bin/env bash
# Installs the tavn Python package into a virtual environment (Debian's
# python3 with its pytest; nothing is downloaded) and runs its tests against
# libtavn.so with the scripted engine, then with the speech engine if built.
set -euo pipefail
src=${1:?source root}; build=${2:?build dir}; libtavn=${3:?libtavn.so}
scripted_dir=${4:?scripted engine dir}; speech_dir=${5:-}
venv="$build/python-venv"
[ -x "$venv/bin/python" ] || /usr/bin/python3 -m venv --system-site-packages "$venv"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Built from a copy: pip builds in the tree it is given.
cp -r "$src/python" "$work/package"
"$venv/bin/pip" install --quiet --no-build-isolation --no-index --force-reinstall "$work/package"
cd "$work"
export TAVN_LIBRARY="$libtavn" PYTHONDONTWRITEBYTECODE=1
pytest=("$venv/bin/python" -m pytest -q -p no:cacheprovider "$src/python/tests")
echo "--- scripted engine"
TAVN_TEST_ENGINE=scripted LD_LIBRARY_PATH="$scripted_dir" "${pytest[@]}"
if [ -n "$speech_dir" ]; then
  echo "--- speech engine"
  TAVN_TEST_ENGINE=speech LD_LIBRARY_PATH="$speech_dir" "${pytest[@]}"
fi
