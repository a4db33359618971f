#!/usr/bin/env bash
# Holds the instructions and allocations of each path against bench/limits.json, see docs/performance.md.
# They do not depend on what else the machine does.
#
# usage: bench/counts.sh            fails when a count is above its limit
#        bench/counts.sh --update   writes new limits, after a deliberate change
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
mkdir -p build
cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=ON >build/release.configure.log
cmake --build --preset release --target Counts
python3 bench/counts.py build/release/bench/Counts bench/limits.json "$@"
