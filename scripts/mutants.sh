#!/usr/bin/env bash
# Makes the faults of scripts/mutants.txt one after the other, builds the test program of each and runs
# the tests that must notice it. Prints killed or survived for each; fails when one survived or can no
# longer be made. Works on a copy of the committed files, built in build/mutants.
#
# usage: scripts/mutants.sh [TEXT]     only faults whose line contains TEXT
set -euo pipefail
cd "$(dirname "$0")/.."

tree=$PWD/build/mutants/tree
build=$PWD/build/mutants/build
mkdir -p "$build"
# git writes only the files that changed, so that the next run builds little.
[ -d "$tree/.git" ] || git clone -q --no-checkout . "$tree"
git -C "$tree" fetch -q origin HEAD
git -C "$tree" checkout -qf FETCH_HEAD
cmake -S "$tree" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 >"$build.log"

survived=0
judge() {  # judge FILE EXPRESSION PROGRAM TESTS
  local file=$1 expression=$2 program=$3 tests=$4 outcome=killed
  sed -i "$expression" "$tree/$file"
  if git -C "$tree" diff --quiet; then
    outcome="NOT MADE"
  elif ! cmake --build "$build" --target "$(basename "$program")" >"$build.log" 2>&1; then
    outcome="NOT BUILT"
  elif "$build/$program" --gtest_brief=1 --gtest_filter="$tests" >"$build.log" 2>&1; then
    outcome=SURVIVED
  fi
  git -C "$tree" checkout -q -- "$file"
  printf '%-9s %s: %s\n' "$outcome" "$file" "$expression"
  [ "$outcome" = killed ] || survived=$((survived + 1))
}

trim() { sed -E 's/^ +| +$//g' <<<"$1"; }
while IFS='|' read -r file expression program tests; do
  judge "$(trim "$file")" "$(trim "$expression")" "$(trim "$program")" "$(trim "$tests")"
done < <(grep -v '^#' scripts/mutants.txt | grep -F -- "${1:-}")
echo "mutants: $survived survived"
[ "$survived" -eq 0 ]
