#!/usr/bin/env bash
# Makes the API reference from the public headers into build/api-reference/html; a warning is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build/api-reference
{ cat docs/Doxyfile; echo "INPUT = $(scripts/public-headers.sh | tr '\n' ' ')"; } | doxygen -
echo "api-reference: build/api-reference/html/index.html"
