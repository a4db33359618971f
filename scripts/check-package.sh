#!/usr/bin/env bash
# Installs the release build into a scratch prefix and builds and runs a consumer project against it.
set -euo pipefail
cd "$(dirname "$0")/.."

prefix=$PWD/build/package
rm -rf "$prefix" build/consumer
cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=OFF >build/release.configure.log
cmake --build --preset release
cmake --install build/release --prefix "$prefix" >/dev/null
cmake -S tests/Package -B build/consumer -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build build/consumer
env -u XDG_DATA_HOME -u XDG_CACHE_HOME -u XDG_STATE_HOME HOME="$PWD/build/consumer/home" build/consumer/consumer
