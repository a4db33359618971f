#!/usr/bin/env bash
# The package as somebody else meets it. Installs the release build into a scratch prefix and builds and
# runs a consumer project against it; with the argument "shared" once more with shared libraries, which
# takes a second build. Checks that exactly the public headers are installed, that each compiles alone,
# and that docs/names.md has their global names. Configures what a device of one's own needs, without
# the libraries that it leaves out.
set -euo pipefail
cd "$(dirname "$0")/.."

consume() {  # consume BUILD_SHARED_LIBS
  local prefix=$PWD/build/package-$1 consumer=build/consumer-$1 unit
  rm -rf "$prefix" "$consumer"
  cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=OFF -DBUILD_SHARED_LIBS="$1" \
    >build/release.configure.log
  cmake --build --preset release
  cmake --install build/release --prefix "$prefix" >/dev/null
  for unit in system user; do
    grep -q "^ExecStart=$prefix/bin/ksbeacon " "$prefix/lib/systemd/$unit/ksbeacon.service" && continue
    echo "package: the $unit unit does not start $prefix/bin/ksbeacon" >&2
    return 1
  done
  cmake -S tests/Package -B "$consumer" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$consumer"
  env -u XDG_DATA_HOME -u XDG_CACHE_HOME -u XDG_STATE_HOME HOME="$PWD/$consumer/home" \
    "$consumer/consumer" "$consumer/locations.dat"
  "$consumer/reader" "$consumer/locations.dat"
  echo "package: a program runs on the installed libraries, shared: $1"
}

# Without Linux, HTTP, the simulated device and XML none of their libraries is asked for.
check_bare() {
  rm -rf build/bare
  cmake -S . -B build/bare -G Ninja -DKS_WITH_HTTP=OFF -DKS_WITH_XML=OFF \
    -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON -DCMAKE_DISABLE_FIND_PACKAGE_pugixml=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_CURL=ON >build/bare.configure.log
  cmake --build build/bare --target KSFoundation
  echo "package: configures without libsoup, libcurl, GLib and pugixml"
}

[ "${1:-}" = shared ] && consume ON
consume OFF
root=build/package-OFF/include/KSBeaconSDK
scripts/check-headers.sh
diff -r build/public-headers "$root"
scripts/check-globals.sh "$root"
check_bare
