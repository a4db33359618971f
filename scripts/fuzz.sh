#!/usr/bin/env bash
# Builds every fuzz target with clang and runs each for a while from its seeds.
#
# usage: scripts/fuzz.sh SECONDS [TARGET...]
#
# KS_FUZZ_SEED=N gives the same inputs in every run, as the whole check wants them: it fails for what was changed,
# not for what a longer search might find.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
cmake --preset fuzz >build/fuzz.configure.log
cmake --build --preset fuzz -- fuzzers
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*Fuzz.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

fuzz() {  # fuzz TARGET
  local target=$1 corpus=build/fuzz/corpus/$1 seeds=()
  mkdir -p "$corpus"
  [ -d "fuzz/seeds/$target" ] && seeds=("fuzz/seeds/$target")
  build/fuzz/fuzz/"$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
    ${KS_FUZZ_SEED:+-seed="$KS_FUZZ_SEED"} \
    -print_final_stats=1 -artifact_prefix="$corpus/" "$corpus" "${seeds[@]}" 2>&1 |
    grep -E 'stat::number_of_executed_units|ERROR|SUMMARY|Test unit' |
    sed "s/^/fuzz: $target: /" || true
  if compgen -G "$corpus/crash-*" >/dev/null || compgen -G "$corpus/timeout-*" >/dev/null ||
     compgen -G "$corpus/oom-*" >/dev/null; then
    echo "fuzz: $target found a fault, see $corpus" >&2
    return 1
  fi
}
export -f fuzz
export seconds
echo "fuzz: ${#targets[@]} targets for $seconds s each"
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'fuzz {}'
