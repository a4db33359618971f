#!/usr/bin/env bash
# Builds the sizes that a device's maker asks for and holds them against their limits: a minimal
# Linux application, and the embedded library, both stripped and without the system's shared
# libraries.
set -euo pipefail
cd "$(dirname "$0")/.."

size_of() {  # size_of FILE
  strip -o build/stripped "$1"
  stat -c %s build/stripped
}

hold() {  # hold WHAT FOUND LIMIT
  printf 'size: %s: %d bytes of %d\n' "$1" "$2" "$3"
  [ "$2" -lt "$3" ]
}

mkdir -p build
cmake --preset small >build/small.configure.log
cmake --build --preset small --target bare-host
cmake --preset small-embedded >build/small-embedded.configure.log
cmake --build --preset small-embedded --target ksbeacon_c
hold "minimal Linux application" "$(size_of build/small/examples/bare-host)" 1100000
hold "embedded library" "$(size_of build/small-embedded/bindings/c/libksbeacon.so)" 700000
