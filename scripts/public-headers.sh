#!/usr/bin/env bash
# Prints the public headers, as the CMake files declare them, one path a line.
set -euo pipefail
cd "$(dirname "$0")/.."

find BeaconSDK -name CMakeLists.txt | sort | while IFS= read -r list; do
  awk -v folder="$(dirname "$list")" '{
    for (i = 1; i <= NF; ++i) {
      if ($i ~ /^[A-Z_]+$/) listed = $i == "PUBLIC_HEADERS"
      else if (listed && $i ~ /\.h\)?$/) { sub(/\)$/, "", $i); print folder "/" $i }
    }
  }' "$list"
done | xargs realpath --relative-to=. | sort
