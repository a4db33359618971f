#!/usr/bin/env bash
# Makes docs/walk.png, the picture of README.md: the report page of the demo's walk, in a browser without
# a screen. Look at it before you commit it.
#
# usage: scripts/picture.sh [KSBEACON]
set -euo pipefail
cd "$(dirname "$0")/.."
ksbeacon=${1:-build/release/tools/ksbeacon/ksbeacon}
mkdir -p build/picture
"$ksbeacon" simulate examples/scenarios/demo.json --report build/picture/walk.html >/dev/null
# The first content has fired and is shown.
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1200,720 \
  --user-data-dir=build/picture/browser --virtual-time-budget=5000 \
  --screenshot=docs/walk.png "file://$PWD/build/picture/walk.html#at=127" 2>build/picture/log ||
  { cat build/picture/log >&2; exit 1; }
rm -rf build/picture/browser
echo "picture: docs/walk.png, $(stat -c %s docs/walk.png) bytes"
