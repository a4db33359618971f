#!/usr/bin/env bash
# Every path that README.md, CONTRIBUTING.md and docs/ name between backticks or in links exists.
set -euo pipefail
cd "$(dirname "$0")/.."

broken=0
for page in *.md docs/*.md; do
  folder=$(dirname "$page")
  while IFS= read -r path; do
    path=${path%%#*}
    [ -n "$path" ] || continue
    if [ ! -e "$path" ] && [ ! -e "$folder/$path" ]; then
      echo "$page names $path, which does not exist" >&2
      broken=1
    fi
  done < <({ grep -oE '\]\([^):]+\)' "$page" | sed -E 's/^\]\(//; s/\)$//'
             grep -oE '`(\./)?(BeaconSDK|tools|tests|examples|docs|scripts|cmake|bench|fuzz|bindings)/[A-Za-z0-9_./+-]+`' "$page" | tr -d '`'
             grep -oE '`\./[A-Za-z0-9_.-]+`' "$page" | tr -d '`'; } | sort -u)
done
[ "$broken" -eq 0 ] && echo "readme: every named path exists"
exit "$broken"
