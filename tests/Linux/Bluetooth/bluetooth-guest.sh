#!/usr/bin/env bash
# Runs in the virtual machine: the real Bluetooth daemon on a virtual controller, and the radio in
# each mode. Ends with 1 when a mode hears too little.
#
# usage: bluetooth-guest.sh RADIO_PROBE [DAEMON_OPTION...]
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
probe=$1
shift
seconds=${SECONDS_EACH:-20}
beacons=4
per_second=10

work=$(mktemp -d)
cat >"$work/bus.conf" <<CONF
<busconfig><type>custom</type><listen>unix:path=$work/bus</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>
CONF
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$work/bus DBUS_SESSION_BUS_ADDRESS=unix:path=$work/bus
dbus-daemon --config-file="$work/bus.conf" --fork --nopidfile
mkdir -p /var/lib/bluetooth

python3 "$here/virtual_controller.py" "$beacons" "$per_second" >"$work/controller.log" 2>&1 &
daemon=0
start_daemon() {
  /usr/libexec/bluetooth/bluetoothd -n "$@" >>"$work/daemon.log" 2>&1 &
  daemon=$!
  gdbus wait --system org.bluez --timeout 20
  for _ in $(seq 50); do
    gdbus call --system -d org.bluez -o /org/bluez/hci0 \
      -m org.freedesktop.DBus.Properties.Set org.bluez.Adapter1 Powered '<true>' \
      >/dev/null 2>&1 && return
    sleep 0.2
  done
  cat "$work/daemon.log"
  exit 1
}

failed=0
expect() {  # expect NAME AT_LEAST VALUE
  echo "$1: $3 (at least $2)"
  [ "${3:-0}" -ge "$2" ] || failed=1
}
heard() { sed -n 's/.*: \([0-9]*\) advertisements.*/\1/p' "$work/probe.log"; }
of_beacons() { sed -n 's/.*, \([0-9]*\) of beacons.*/\1/p' "$work/probe.log"; }
run_probe() {
  echo "== $*"
  "$probe" "$@" >"$work/probe.log" 2>&1
  cat "$work/probe.log"
}

start_daemon "$@"
all=$((seconds * beacons * per_second))
if [ $# -gt 0 ]; then  # with monitors: all but what passes while the scan begins
  most=$((all * 9 / 10))
else  # one report of each beacon per second
  most=$((seconds * beacons / 2))
fi
run_probe monitor "$seconds"
expect "beacons' advertisements while monitoring" $((most / 2)) "$(of_beacons)"
run_probe range "$seconds"
expect "advertisements while ranging" "$most" "$(heard)"
run_probe scan 5
expect "peripherals with service data" 2 "$(grep -c '^peripheral' "$work/probe.log")"

echo "== range while the daemon is killed and started again"
"$probe" range 25 >"$work/probe.log" 2>&1 &
running=$!
sleep 8
kill -KILL "$daemon"
sleep 2
start_daemon "$@"
wait "$running"
cat "$work/probe.log"
expect "advertisements around the restart" $((most / seconds * 16)) "$(heard)"
expect "returns to powered on" 2 "$(grep -c '^state 5' "$work/probe.log")"

echo "== the controller's scans"
tail -n 12 "$work/controller.log"
exit "$failed"
