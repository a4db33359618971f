#!/usr/bin/env bash
# Prints the public headers, as the CMake files declare them, one path a line.
set -euo pipefail
cd "$(dirname "$0")/.."

find BeaconSDK -name CMakeLists.txt | sort | while IFS= read -r list; do
  awk -v folder="$(dirname "$list")" '
    /PUBLIC_HEADERS/ { listed = 1; next }
    /^ *[A-Z_]+ |\)|^ *[A-Z_]+$/ { listed = 0 }
    listed { print folder "/" $1 }' "$list"
done | xargs realpath --relative-to=. | sort
