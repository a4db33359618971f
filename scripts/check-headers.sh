#!/usr/bin/env bash
# Copies the public headers into a tree of their own, build/public-headers, as installing does, and
# compiles each alone there. No path is given for GLib, libsoup or libcurl: their headers are not to be
# needed.
set -euo pipefail
cd "$(dirname "$0")/.."

root=build/public-headers
rm -rf "$root"
mkdir -p "$root"
scripts/public-headers.sh | xargs cp --parents -t "$root"
scripts/public-headers.sh | xargs -P "$(nproc)" -I{} \
  g++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I "$root" -include {} -x c++ /dev/null
echo "headers: each of $(find "$root" -name '*.h' | wc -l) public headers compiles alone"
