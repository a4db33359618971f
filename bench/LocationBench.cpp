// What one event costs the location engine: a fix among 100,000 circles, an advertisement, and a
// second of ranging.

#include <benchmark/benchmark.h>

#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "tests/Location/RadioWalk.h"

namespace ks {
namespace {

constexpr UUID kBeaconUUID{{1, 2, 3, 4}};

struct NullStore : LocationStateStore {
  FileContent load() override { return {}; }
  bool save(const Data&) override { return true; }
};

struct Bench : LocationDemandListener, CLLocationManagerDelegate {
  Bench() {
    engine.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager->setDelegate(this);
  }
  ~Bench() override { manager.reset(); }
  void locationDemandChanged(const LocationDemand&) override {}

  std::shared_ptr<SimulatedLoop> loop = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue{loop, SimulatedQueue::Role::main};
  NullStore store;
  LocationEngine engine{loop->clock(), queue, store, *this};
  std::unique_ptr<CLLocationManager> manager = engine.makeLocationManager();
};

/// Circles of 100 m all over a country of 1,000 by 800 km.
void monitorCircles(Bench& bench, std::int64_t count) {
  test::Random random(1);
  for (std::int64_t i = 0; i < count; ++i) {
    const CLLocationCoordinate2D place{41 + 9 * random.uniform(), 5 + 10 * random.uniform()};
    bench.manager->startMonitoringForRegion(
        std::make_shared<CLCircularRegion>(place, Metres{100}, std::to_string(i)));
  }
  bench.loop->runUntilIdle();
}

/// A walk through that country.
void fixAmongCircles(benchmark::State& state) {
  Bench bench;
  monitorCircles(bench, state.range(0));
  double latitude = 42;
  const Date now = bench.loop->clock().now();
  for (auto _ : state) {
    latitude = latitude < 49 ? latitude + 1e-5 : 42;
    bench.engine.handleFix({{latitude, 9}, {10}, now});
  }
}
BENCHMARK(fixAmongCircles)->Arg(100)->Arg(10000)->Arg(100000);

void startMonitoring(benchmark::State& state) {
  for (auto _ : state) {
    Bench bench;
    monitorCircles(bench, state.range(0));
  }
}
BENCHMARK(startMonitoring)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

/// With as many regions watched as the argument says, each of a UUID of its own.
void advertisement(benchmark::State& state) {
  Bench bench;
  for (int i = 0; i < state.range(0); ++i) {
    const UUID uuid{{1, 2, 3, 4, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}};
    bench.manager->startMonitoringForRegion(
        std::make_shared<CLBeaconRegion>(uuid, std::to_string(i)));
  }
  bench.loop->runUntilIdle();
  Advertisement advertisement;
  advertisement.rssi = {-70};
  advertisement.manufacturerData.push_back(makeBeaconData({kBeaconUUID, 1, 1, {-59}}));
  for (auto _ : state) bench.engine.handleAdvertisement(advertisement);
}
BENCHMARK(advertisement)->Arg(1)->Arg(10000);

/// One second: every beacon of the region is heard once and the region is ranged.
void rangedSecond(benchmark::State& state) {
  Bench bench;
  bench.manager->startRangingBeaconsInRegion(std::make_shared<CLBeaconRegion>(kBeaconUUID, "hall"));
  test::Random random(1);
  for (auto _ : state) {
    for (int i = 0; i < state.range(0); ++i) {
      bench.engine.handleBeacon({kBeaconUUID, 1, static_cast<std::uint16_t>(i), {-59}},
                                {-60 - 30 * random.uniform()});
    }
    bench.loop->advance(Seconds{1});
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(rangedSecond)->Arg(10)->Arg(200)->Arg(1000);

}  // namespace
}  // namespace ks

BENCHMARK_MAIN();
