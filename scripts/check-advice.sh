#!/usr/bin/env bash
# No advice may break the machine: every package that the sources tell people to install is held against
# the package manager's simulation, which must not remove anything. Exit code 77 where there is no
# package manager to ask.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v apt-get >/dev/null || exit 77
packages=$(grep -rhoE 'apt install( [a-z0-9][a-z0-9.+-]+)+' BeaconSDK tools --include='*.cpp' --include='*.h' |
  sed 's/^apt install //' | tr ' ' '\n' | sort -u)
[ -n "$packages" ] || { echo "advice: no advice found in the sources" >&2; exit 1; }

broken=0
asked=0
for package in $packages; do
  apt-cache show "$package" >/dev/null 2>&1 || continue
  asked=$((asked + 1))
  removed=$(apt-get -s install "$package" 2>&1 | grep -E '^(Remv|E:)' || true)
  [ -z "$removed" ] && continue
  printf 'advice: "apt install %s" would break this machine:\n%s\n' "$package" "$removed" >&2
  broken=1
done
[ "$asked" -gt 0 ] || exit 77
[ "$broken" -eq 0 ] && echo "advice: $asked packages, none removes anything"
exit "$broken"
