#!/usr/bin/env bash
# Includes point downwards only. Fails, naming file and line, when
# - the seam includes anything but the standard library and itself;
# - GLib, libsoup or D-Bus headers appear outside Platform/Linux and the portal tool;
# - Classes includes a platform or a tool; Platform/Location or Platform/Http includes Classes;
# - an operating-system #if stands outside Platform/;
# - units or folders include each other in a cycle;
# - a folder holds more than 20 units (a header with its source is one).
set -euo pipefail
cd "$(dirname "$0")/.."

mkdir -p build
broken=0
forbid() {  # forbid REASON PATTERN PATH...
  local reason=$1 pattern=$2
  shift 2
  local hits
  hits=$(grep -rnE --include='*.h' --include='*.cpp' "$pattern" "$@" 2>/dev/null || true)
  [ -n "$hits" ] || return 0
  printf 'seam: %s\n%s\n' "$reason" "$hits" >&2
  broken=1
}

system_headers='^\s*#\s*include\s*[<"](glib|gio/|glib-object|libsoup|dbus/|gps\.h|libsecret|sys/|unistd|fcntl|netinet|arpa)'
desktop_headers='^\s*#\s*include\s*[<"](glib|gio/|glib-object|libsoup|dbus/|gps\.h|libsecret)'

forbid "the seam includes only the standard library and itself" \
  '^\s*#\s*include\s*("(BeaconSDK/(Classes|Platform/(Location|Http|Storage|Common|Linux|Simulated|Embedded))|tools|tests)|<[^>]*[/.][^>]*>)' \
  BeaconSDK/Platform/Api
forbid "desktop headers belong into Platform/Linux and the portal tool" "$desktop_headers" \
  BeaconSDK/Classes BeaconSDK/Platform/Api BeaconSDK/Platform/Location BeaconSDK/Platform/Simulated \
  BeaconSDK/Platform/Http \
  BeaconSDK/Platform/Storage BeaconSDK/Platform/Common BeaconSDK/Platform/Embedded \
  $(find tools -type f \( -name '*.h' -o -name '*.cpp' \) -not -path 'tools/ksbeacon/portal/*')
forbid "system headers do not belong into the library or the seam" "$system_headers" \
  BeaconSDK/Classes BeaconSDK/Platform/Api BeaconSDK/Platform/Location
forbid "Classes includes the seam only" \
  '^\s*#\s*include\s*"(BeaconSDK/Platform/(Linux|Simulated|Embedded|Http|Location|Storage|Common)|tools|tests)' BeaconSDK/Classes
forbid "a platform does not include the library above it" \
  '^\s*#\s*include\s*"(BeaconSDK/(Classes|KSBeaconSDK)|tools|tests)' BeaconSDK/Platform
forbid "what the devices share knows no device" \
  '^\s*#\s*include\s*"BeaconSDK/Platform/(Linux|Simulated|Embedded)' \
  BeaconSDK/Platform/Location BeaconSDK/Platform/Http BeaconSDK/Platform/Storage BeaconSDK/Platform/Common
forbid "an operating-system #if outside Platform/" \
  '^\s*#\s*(if|ifdef|ifndef|elif).*(__linux__|__unix__|_WIN32|__APPLE__|__ANDROID__)' \
  BeaconSDK/Classes BeaconSDK/KSBeaconSDK.h tools examples

if ! scripts/include-cycles.py >build/cycles; then
  cat build/cycles >&2
  broken=1
fi

most_units=20
crowded=$(find BeaconSDK bench bindings examples fuzz tests tools \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' \) |
  sed 's/\.[a-z]*$//' | sort -u | sed 's|/[^/]*$||' | sort | uniq -c | awk -v most=$most_units '$1 > most { print $2 ": " $1 " units" }')
if [ -n "$crowded" ]; then
  printf 'seam: a folder of more than %s units asks for rooms\n%s\n' "$most_units" "$crowded" >&2
  broken=1
fi

[ "$broken" -eq 0 ] && echo "seam: includes point downwards only"
exit "$broken"
