#!/usr/bin/env bash
# Builds the Python wheel without a network and uses it from a folder of its own.
#
# usage: scripts/check-wheel.sh LIBRARY
set -euo pipefail
cd "$(dirname "$0")/.."
library=$(realpath "$1")
rm -rf build/wheel
mkdir -p build/wheel/source build/wheel/site
cp -rL bindings/python/ksbeacon bindings/python/pyproject.toml build/wheel/source
/usr/bin/python3 -m build --wheel --no-isolation --outdir build/wheel build/wheel/source >build/wheel/log ||
  { cat build/wheel/log; exit 1; }
/usr/bin/python3 -m zipfile -e build/wheel/ksbeacon-*.whl build/wheel/site
runtime=
symbols=$(nm -D "$library")
if [[ $symbols == *__asan_init* ]]; then runtime=$(gcc -print-file-name=libasan.so); fi
cd build/wheel
env KSBEACON_LIBRARY="$library" PYTHONPATH=site LD_PRELOAD="$runtime" ASAN_OPTIONS=detect_leaks=0 \
  /usr/bin/python3 -c 'import ksbeacon; print("wheel: ksbeacon", ksbeacon.version())'
