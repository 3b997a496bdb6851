#!/usr/bin/env bash
# README.md quotes every example under examples/ whole, so the code it shows
# is the code the tests build and run.
set -euo pipefail
src=${1:?source root}
readme=$(cat "$src/README.md")
status=0
for f in c/hello.c cpp/CMakeLists.txt cpp/hello.cpp java/Hello.java python/hello.py shell/hello.sh; do
  example=$(cat "$src/examples/$f")
  [[ "$readme" == *"$example"* ]] || { echo "README.md does not quote examples/$f as it stands"; status=1; }
done
exit $status
