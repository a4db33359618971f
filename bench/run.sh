#!/usr/bin/env bash
# Measures every path beside its peer in one run, holds the counts of instructions and allocations
# against bench/limits.json, and writes build/bench/results.json, the table of docs/performance.md
# and its curves. About ten minutes on two cores that do nothing else.
#
# usage: bench/run.sh          everything
#        bench/run.sh counts   the counts alone: they do not depend on what else the machine does
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh bench
mkdir -p build/bench
cmake --preset release -DKS_BUILD_TESTS=OFF -DKS_BUILD_BENCHMARKS=ON >build/release.configure.log
programs=(ParseBench ArchiveBench LocationBench RangingBench Counts)
if [ "${1:-}" = counts ]; then programs=(Counts); fi
cmake --build --preset release --target "${programs[@]}"

echo "== counts"
python3 bench/counts.py build/release/bench/Counts bench/limits.json
if [ "${1:-}" = counts ]; then exit 0; fi

for program in ParseBench ArchiveBench LocationBench RangingBench; do
  echo "== $program"
  build/release/bench/$program --benchmark_out="build/bench/$program.json" \
    --benchmark_out_format=json
done
echo "== table and curves"
python3 bench/report.py build/release/bench/Counts build/bench docs
