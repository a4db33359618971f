#!/usr/bin/env bash
# Measures every path beside its peer in one run, holds the counts of instructions and allocations
# against bench/limits.json, and writes build/bench/results.json, the table of docs/performance.md
# and its curves, docs/performance.svg. Best on a machine that does nothing else.
#
# usage: bench/run.sh
set -euo pipefail
cd "$(dirname "$0")/.."

bench/counts.sh
mkdir -p build/bench
programs=(ParseBench ArchiveBench LocationBench RangingBench)
cmake --build --preset release --target "${programs[@]}" RefreshTurns ksbeacon
for program in "${programs[@]}"; do
  echo "== $program"
  build/release/bench/"$program" --benchmark_min_time=0.2 --benchmark_repetitions=3 \
    --benchmark_report_aggregates_only=true --benchmark_out="build/bench/$program.json" \
    --benchmark_out_format=json
done
echo "== RefreshTurns"
build/release/bench/RefreshTurns | tee build/bench/RefreshTurns.txt
echo "== table and curves"
python3 bench/report.py build/release build/bench docs
