// What ranging costs: per ranged beacon, whatever the number of cached ones, and for a whole day.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "bench/Site.h"

namespace {

using ks::bench::Site;

void rangedBeacon(benchmark::State& state) {
  constexpr std::int64_t kRanged = 10;
  Site site(state.range(0));
  const auto beacons = Site::lastOf(state.range(0), kRanged);
  for (auto _ : state) site.range(beacons, 3);
  state.SetItemsProcessed(state.iterations() * kRanged);
}
BENCHMARK(rangedBeacon)->Arg(10)->Arg(1000)->Arg(100000);

/// A callback that holds one beacon.
void rangedAlone(benchmark::State& state) {
  Site site(state.range(0));
  const auto beacons = Site::lastOf(state.range(0), 1);
  for (auto _ : state) site.range(beacons, 3);
}
BENCHMARK(rangedAlone)->Arg(10000);

long peakKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// 1,000 beacons heard once a second for a day.
void simulatedDay(benchmark::State& state) {
  Site site(1000);
  const auto beacons = Site::lastOf(1000, 1000);
  site.range(beacons, 3);
  const long before = peakKiB();
  for (auto _ : state) {
    for (int second = 0; second < 24 * 3600; ++second) site.range(beacons, 1);
  }
  state.counters["grownKiB"] = static_cast<double>(peakKiB() - before);
}
BENCHMARK(simulatedDay)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
