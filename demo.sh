#!/usr/bin/env bash
# Builds the ksbeacon command and walks a simulated device up to a beacon, against a real portal over
# HTTP on this machine.
#
# usage: ./demo.sh
set -uo pipefail
cd "$(dirname "$0")"

fail() {  # fail WHAT [LOG]
  [ -n "${2:-}" ] && tail -n 25 "$2" >&2
  echo "demo: FAILED: $1${2:+; the lines above are the end of $2}" >&2
  exit 1
}

mkdir -p build || fail "the folder build cannot be made here"
log=build/demo.log

echo "demo: 1 of 3, what the build needs"
scripts/setup.sh build || fail "installing what the build needs"

echo "demo: 2 of 3, building the command (a few minutes the first time)"
cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=OFF >"$log" 2>&1 ||
  fail "configuring the build" "$log"
if [ -t 1 ]; then
  # Ninja's own progress line, redrawn in place.
  cmake --build --preset release --target ksbeacon || fail "building the command"
else
  cmake --build --preset release --target ksbeacon >"$log" 2>&1 ||
    fail "building the command" "$log"
fi

scenario=examples/scenarios/demo.json
ksbeacon=build/release/tools/ksbeacon/ksbeacon
cat <<EOF
demo: 3 of 3, the walk in $scenario
A visitor comes from 170 m away, stands at the museum's entrance for a while, passes the café and leaves.
Time is virtual; the portal is a real HTTP server on this machine, with the documents in examples/portal.

EOF
"$ksbeacon" simulate "$scenario" || fail "the simulation: its message is above"
cat <<EOF

What you saw, by the second column:
  http          categories, locations, beacon zones and circles come from the portal
  ranging       the beacons' advertisement bytes have become distances
  trigger       a content's rules agreed; its announcement and the notification follow
  refusal       a content's rules did not agree, with their numbers
  statistic     what the portal was told
  cache         what the device keeps for its next start

Where to go next:
  change $scenario and run   $ksbeacon simulate $scenario
  more walks                               examples/scenarios, described in docs/scenarios.md
  a portal for your own application        $ksbeacon portal examples/portal
  the library in an application            examples/host/main.cpp
EOF
