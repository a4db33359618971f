#!/usr/bin/env bash
# Compares the C interface's binary interface with the stored one, bindings/c/ksbeacon.abi: what was
# removed or changed fails; what was added is to be stored with "update". Needs debug information.
#
# usage: scripts/check-abi.sh LIBRARY [update]
set -euo pipefail
cd "$(dirname "$0")/.."
library=$1
stored=bindings/c/ksbeacon.abi
found=build/ksbeacon.abi
mkdir -p build

# Neither paths nor the libraries of one machine belong into the stored form.
abidw --headers-dir bindings/c/include --no-corpus-path --no-show-locs --no-comp-dir-path --exported-interfaces-only \
  "$library" | sed -E "/<elf-needed>/,/<\/elf-needed>/d" >"$found"
if [ "${2:-}" = update ]; then
  cp "$found" "$stored"
  echo "abi: stored"
  exit 0
fi
if ! abidiff --no-added-syms "$stored" "$found"; then
  echo "abi: programs built against the stored interface would break" >&2
  exit 1
fi
if ! abidiff "$stored" "$found" >/dev/null; then
  echo "abi: functions were added; store them with scripts/check-abi.sh $library update" >&2
  exit 1
fi
echo "abi: as stored"
