#!/usr/bin/env bash
# Makes the faults of scripts/mutants.txt one after the other, builds the test program of each and runs
# the tests that must notice it. Prints killed or survived for each; fails when one survived or can no
# longer be made. Works on a copy of the committed files, built in build/mutants.
#
# usage: scripts/mutants.sh [TEXT]     only faults whose line contains TEXT
set -euo pipefail
cd "$(dirname "$0")/.."

tree=$PWD/build/mutants
# Below the tree, as a normal build lies below its own, so that a compiler cache serves both.
build=$tree/build/debug
log=$tree.log
mkdir -p build
# git writes only the files that changed, so that the next run builds little.
[ -d "$tree/.git" ] || git clone -q --no-checkout . "$tree"
git -C "$tree" fetch -q origin HEAD
git -C "$tree" checkout -qf FETCH_HEAD
cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 >"$log"

trim() { sed -E 's/^ +| +$//g' <<<"$1"; }
run() {  # run PROGRAM TESTS: builds and runs them; 2 when they cannot be built
  cmake --build "$build" --target "$(basename "$1")" >"$log" 2>&1 || return 2
  "$build/$1" --gtest_brief=1 --gtest_filter="$2" >"$log" 2>&1
}

# Tests that fail without a fault would kill every mutant.
declare -A sound
prove() {  # prove PROGRAM TESTS
  [ -z "${sound[$1 $2]:-}" ] || return 0
  if ! run "$1" "$2"; then
    echo "mutants: $1 --gtest_filter='$2' fails without a fault, see $log" >&2
    exit 2
  fi
  sound[$1 $2]=yes
}

survived=0
judge() {  # judge FILE EXPRESSION PROGRAM TESTS
  local file=$1 expression=$2 program=$3 tests=$4 outcome=killed status=0
  prove "$program" "$tests"
  sed -i "$expression" "$tree/$file"
  if git -C "$tree" diff --quiet; then
    outcome="NOT MADE"
  else
    run "$program" "$tests" || status=$?
    case $status in
      0) outcome=SURVIVED ;;
      2) outcome="NOT BUILT" ;;
    esac
  fi
  git -C "$tree" checkout -q -- "$file"
  printf '%-9s %s: %s\n' "$outcome" "$file" "$expression"
  [ "$outcome" = killed ] || survived=$((survived + 1))
}

while IFS='|' read -r file expression program tests; do
  judge "$(trim "$file")" "$(trim "$expression")" "$(trim "$program")" "$(trim "$tests")"
done < <(grep -v '^#' scripts/mutants.txt | grep -F -- "${1:-}")
echo "mutants: $survived survived"
[ "$survived" -eq 0 ]
