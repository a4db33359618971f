#!/usr/bin/env bash
# Makes the Debian packages from the release build, holds them against the policy (lintian), and uses them
# as somebody else would: a program in C by pkg-config, one in C++ with a shared library of its own by
# find_package, Python, and the command.
#
# usage: scripts/check-packages.sh make     makes them in build/packages, no more
#        scripts/check-packages.sh          unpacked into a folder
#        scripts/check-packages.sh root     also installed into a bare Debian root (mmdebstrap, as root)
set -euo pipefail
cd "$(dirname "$0")/.."
packages=$PWD/build/packages
scenario=examples/scenarios/demo.json

make_packages() {
  cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=OFF -DBUILD_SHARED_LIBS=OFF \
    -DCMAKE_INSTALL_PREFIX=/usr >build/release.configure.log
  cmake --build --preset release
  rm -rf "$packages"
  cpack --config build/release/CPackConfig.cmake -B "$packages" >build/packages.log 2>&1 ||
    { cat build/packages.log >&2; return 1; }
  rm -rf "$packages/_CPack_Packages"
}

use_unpacked() {
  local root=$packages/root package libraries
  for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$root"; done
  libraries=$(dirname "$(find "$root" -name libksbeacon.so.1)")
  export LD_LIBRARY_PATH=$libraries
  local flags
  flags=$(PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_PATH=$libraries/pkgconfig \
    pkg-config --cflags --libs ksbeacon)
  # shellcheck disable=SC2086
  cc examples/c/main.c $flags -o "$packages/gateway"
  "$packages/gateway" $scenario | tail -n 1
  cmake -S tests/Packages -B "$packages/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
  cmake --build "$packages/consumer" >/dev/null
  "$packages/consumer/consumer" $scenario
  PYTHONPATH=$root/usr/lib/python3/dist-packages /usr/bin/python3 -c "
import ksbeacon
assert ksbeacon.Scenario('$scenario').run().passed
print('python: ksbeacon', ksbeacon.version())"
  unset LD_LIBRARY_PATH
}

# The use of the installed packages in a bare root, with nothing but what Debian and they bring.
use_installed() {
  cat <<'SCRIPT'
ksbeacon simulate examples/scenarios/demo.json >/dev/null
ksbeacon --version
cc examples/c/main.c $(pkg-config --cflags --libs ksbeacon) -o /tmp/gateway
/tmp/gateway examples/scenarios/demo.json | tail -n 1
cmake -S tests/Packages -B /tmp/consumer >/dev/null
cmake --build /tmp/consumer >/dev/null
/tmp/consumer/consumer examples/scenarios/demo.json
python3 -c "
import ksbeacon
assert ksbeacon.Scenario('examples/scenarios/demo.json').run().passed"
ksbeacon doctor >/dev/null || [ $? -eq 3 ]
ksbeacon portal examples/portal --port 8080 >/dev/null 2>/tmp/portal </dev/null &
echo demo >/tmp/password
chmod 600 /tmp/password
c++ -std=c++17 examples/hpp/main.cpp $(pkg-config --cflags --libs ksbeacon) -o /tmp/kiosk
timeout 10 /tmp/kiosk http://127.0.0.1:8080/app || [ $? -eq 124 ]
timeout 20 ksbeacon run --portal http://127.0.0.1:8080/app --user demo --password-file /tmp/password \
  >/tmp/run 2>&1 || [ $? -eq 124 ]
grep 'the library runs' /tmp/run
kill $!
test -f /usr/lib/systemd/system/ksbeacon.service
apt-get remove -qy libksbeacon1 ksbeacon >/dev/null
test ! -e /usr/bin/ksbeacon
test ! -e /usr/lib/python3/dist-packages/ksbeacon
SCRIPT
}

install_packages() {
  echo 'apt-get install -qy --no-install-recommends /packages/*.deb gcc g++ cmake make pkg-config libc6-dev >/dev/null'
}

# in_bare_root COMMAND...: the commands print what is run there, after one another.
in_bare_root() {
  local root=build/bare-root
  rm -rf "$root"
  # KS_MIRROR: a mirror, or a file of sources, instead of the usual one.
  mmdebstrap --variant=apt --quiet bookworm "$root" ${KS_MIRROR:+"$KS_MIRROR"}
  mkdir -p "$root/packages" "$root/work"
  cp "$packages"/*.deb "$root/packages"
  git ls-files -z | tar --null -cT - | tar -xC "$root/work"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  {
    printf 'set -eu\ncd /work\napt-get update -q >/dev/null\n'
    for commands in "$@"; do "$commands"; done
  } >"$root/walk.sh"
  mount -t proc proc "$root/proc"
  trap 'umount "$PWD/build/bare-root/proc"' EXIT
  chroot "$root" /usr/bin/env -i PATH="$PATH" DEBIAN_FRONTEND=noninteractive /bin/sh /walk.sh </dev/null
  umount "$root/proc"
  trap - EXIT
  rm -rf "$root"
}

make_packages
[ "${1:-}" != make ] || exit 0
# The packages go to no archive whose bugs they could close; CPack writes the calls of ldconfig.
lintian --allow-root --tag-display-limit 0 --fail-on error,warning \
  --suppress-tags initial-upload-closes-no-bugs,maintscript-calls-ldconfig "$packages"/*.deb
# Only the command has a server.
if dpkg-deb -f "$packages"/libksbeacon1_*.deb Depends | grep soup; then exit 1; fi
use_unpacked
if [ "${1:-}" = root ]; then
  in_bare_root install_packages use_installed
  echo "packages: installed, used and removed in a bare root"
fi
echo "packages: $(basename -a "$packages"/*.deb | tr '\n' ' ')"
