#!/usr/bin/env bash
# Installs what building, running and testing need and the machine lacks. Debian 12; apt-get as root
# or through sudo, and only when something is missing.
#
# usage: scripts/setup.sh build|check|test|packages|bench|machine...
#   build    what the library, the command and the demo need
#   check    what scripts/selfcheck.sh needs on top of that
#   test     what ./test.sh needs on top of that
#   packages what scripts/check-packages.sh needs on top of build
#   bench    what bench/run.sh and bench/counts.sh need on top of build
#   machine  what the virtual machine of ./test.sh long needs on top of that
set -euo pipefail

# libboost1.81-dev replaces Debian's default libboost-dev (1.74) where that one is installed.
build_packages=(
  cmake g++ ninja-build pkg-config
  libboost1.81-dev libboost-json1.81-dev libboost-url1.81-dev
  libcli11-dev libcurl4-openssl-dev libfmt-dev libglib2.0-dev libhowardhinnant-date-dev libicu-dev libpugixml-dev
  libsoup-3.0-dev libssl-dev libzstd-dev
  glib-networking libjs-leaflet
)
check_packages=(gcc python3 util-linux zstd)
test_packages=(
  clang-14 clang-format-14 clang-tidy-14 clang-tools-14 libclang-rt-14-dev
  doxygen libbenchmark-dev libgmock-dev libgtest-dev libsimdjson-dev
  libplist-utils openssl python3 git
  dbus iproute2 libglib2.0-bin python3-dbusmock python3-jsonschema
  geoclue-2.0 gpsd python3-dbus python3-gi
  chromium dunst libgtk-4-dev xvfb
  abigail-tools python3-build python3-cffi python3-pytest python3-setuptools python3-wheel
  python3-distributed python3-numpy python3-pandas
  fish gnome-keyring groff-base libsecret-tools systemd zsh
  curl mosquitto mosquitto-clients xdg-utils
)

packages_packages=(dpkg-dev fakeroot gzip lintian mmdebstrap)
bench_packages=(gnuplot-nox libbenchmark-dev libgtest-dev libplist-dev libsimdjson-dev python3 valgrind)
machine_packages=(bluez busybox-static cpio kmod qemu-system-x86)

wanted=()
for group in "${@:-build}"; do
  case "$group" in
    build) wanted+=("${build_packages[@]}") ;;
    check) wanted+=("${build_packages[@]}" "${check_packages[@]}") ;;
    test) wanted+=("${build_packages[@]}" "${test_packages[@]}") ;;
    packages) wanted+=("${build_packages[@]}" "${packages_packages[@]}") ;;
    bench) wanted+=("${build_packages[@]}" "${bench_packages[@]}") ;;
    machine)
      wanted+=("${build_packages[@]}" "${test_packages[@]}" "${machine_packages[@]}")
      ;;
    *) echo "setup: unknown group '$group' (build, check, test, packages, bench or machine)" >&2; exit 2 ;;
  esac
done

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

missing=()
for package in $(printf '%s\n' "${wanted[@]}" | sort -u); do
  is_installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: everything needed is installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "setup: please install as root: ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
if is_installed libboost1.74-dev && [[ " ${missing[*]} " == *" libboost1.81-dev "* ]]; then
  echo "setup: libboost1.81-dev replaces the installed libboost1.74-dev"
fi
echo "setup: installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() {
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y --no-install-recommends "${missing[@]}"
}
if ! install >"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup: installing failed; the last lines above say why" >&2
  exit 1
fi
echo "setup: done"
