#!/usr/bin/env bash
# Sets up, builds and passes every test and check. About 20 minutes on two cores from nothing.
#
# usage: ./test.sh          everything
#        ./test.sh quick    the sanitized build and its tests only
#        ./test.sh long     everything, and Bluetooth's real daemon in a virtual machine
set -uo pipefail
cd "$(dirname "$0")"

mode=${1:-all}
started=$SECONDS
failed=()

step() {  # step NAME COMMAND...
  local name=$1 begin=$SECONDS
  shift
  printf '\n== %s\n' "$name"
  if "$@"; then
    printf '== %s: passed in %d s\n' "$name" $((SECONDS - begin))
  else
    printf '== %s: FAILED after %d s\n' "$name" $((SECONDS - begin))
    failed+=("$name")
    return 1
  fi
}

finish() {
  printf '\n'
  if [ ${#failed[@]} -eq 0 ]; then
    echo "test.sh: everything passed in $((SECONDS - started)) s"
    exit 0
  fi
  printf 'test.sh: FAILED: %s\n' "${failed[@]}"
  exit 1
}

sources() { git ls-files '*.h' '*.cpp'; }

build() {  # build PRESET TARGET...
  local preset=$1
  shift
  cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 || {
    cat "build/$preset.configure.log"
    return 1
  }
  cmake --build --preset "$preset" -- "$@"
}

check_format() { sources | xargs clang-format-14 --dry-run --Werror; }

# Reads the sources as the sanitized build compiles them, several in one: the headers of the standard
# library, which take most of the time, are then read once for all of them.
check_tidy() {
  python3 - build/asan/compile_commands.json <<'END' |
import json, os, re, sys
files = {os.path.relpath(each["file"]) for each in json.load(open(sys.argv[1]))}
print("\n".join(sorted(f for f in files if not re.search(r"(^|/)(tests|bench|fuzz)/", f))))
END
    xargs -P "$(nproc)" -n 2 clang-tidy-14 --quiet -p build/asan \
      --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wno-overlength-strings 2>/dev/null
}

run_tests() {  # run_tests PRESET [ctest options]
  local preset=$1
  shift
  # Twice the cores: many tests wait for services.
  ctest --test-dir "build/$preset" --output-on-failure -j $((2 * $(nproc))) "$@"
}

mkdir -p build
step "set up" scripts/setup.sh test || finish
step "format" check_format
step "seam" scripts/check-seam.sh
step "README" scripts/check-readme.sh
step "API reference" scripts/api-reference.sh
export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1
step "build with AddressSanitizer and UBSan" build asan || finish
step "tests with AddressSanitizer and UBSan" run_tests asan
step "ABI of the C interface" scripts/check-abi.sh build/asan/bindings/c/libksbeacon.so
step "Python wheel" scripts/check-wheel.sh build/asan/bindings/c/libksbeacon.so
[ "$mode" = quick ] && finish
export TSAN_OPTIONS=ignore_noninstrumented_modules=1:halt_on_error=1
step "build with ThreadSanitizer" build tsan ConcurrentTests
step "concurrent suites with ThreadSanitizer" run_tests tsan -L concurrent
step "clang-tidy" check_tidy
if [ "$mode" = long ]; then
  step "set up the virtual machine" scripts/setup.sh machine &&
    step "build the radio's probe" build debug RadioProbe &&
    step "Bluetooth in a virtual machine" scripts/bluetooth-vm.sh build/debug/tests/Linux/RadioProbe
fi
finish
