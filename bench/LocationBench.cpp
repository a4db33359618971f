// What one event costs the location engine: a fix among 100,000 circles, an advertisement, and a
// second of ranging. Beside the circles' index stands Boost's packed R-tree on the same boxes.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <boost/geometry.hpp>
#include <cmath>

#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"
#include "bench/Receiver.h"

namespace ks {
namespace {

using bench::hearAll;
using bench::kBeaconUUID;
using bench::kRadius;
using bench::monitorCircles;
using bench::placeInCountry;
using bench::Receiver;

std::size_t heapBytes() { return mallinfo2().uordblks + mallinfo2().hblkhd; }

/// Boost's tree of boxes of latitude and longitude, packed.
class BoostIndex {
  using Point = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
  using Box = boost::geometry::model::box<Point>;
  using Entry = std::pair<Box, std::uint64_t>;

 public:
  explicit BoostIndex(const std::vector<CLLocationCoordinate2D>& centres) : tree_(boxes(centres)) {}
  void around(CLLocationCoordinate2D place, std::vector<std::uint64_t>& ids) const {
    const Point point{place.longitude, place.latitude};
    for (auto found = tree_.qbegin(boost::geometry::index::intersects(point));
         found != tree_.qend(); ++found) {
      ids.push_back(found->second);
    }
  }

 private:
  static std::vector<Entry> boxes(const std::vector<CLLocationCoordinate2D>& centres) {
    std::vector<Entry> entries;
    for (const auto [latitude, longitude] : centres) {
      constexpr double kDegree = 111194.9;
      const double north = kRadius.value / kDegree;
      const double east = north / std::cos(latitude * 3.14159265358979 / 180);
      entries.emplace_back(
          Box{{longitude - east, latitude - north}, {longitude + east, latitude + north}},
          entries.size() + 1);
    }
    return entries;
  }
  boost::geometry::index::rtree<Entry, boost::geometry::index::rstar<16>> tree_;
};

std::vector<CLLocationCoordinate2D> centres(std::int64_t count) {
  test::Random random(1);
  std::vector<CLLocationCoordinate2D> places;
  for (std::int64_t i = 0; i < count; ++i) places.push_back(placeInCountry(random));
  return places;
}

/// Asks for the circles around places, half of them within a circle.
template <class Index>
void ask(benchmark::State& state, const Index& index,
         const std::vector<CLLocationCoordinate2D>& circles) {
  constexpr std::size_t kQuestions = 4096;
  test::Random random(2);
  std::vector<CLLocationCoordinate2D> places;
  for (std::size_t i = 0; i < kQuestions; ++i) {
    const auto chosen =
        static_cast<std::size_t>(random.uniform() * 0.999 * static_cast<double>(circles.size()));
    places.push_back(i % 2 == 0 ? placeInCountry(random) : circles[chosen]);
  }
  std::vector<std::uint64_t> ids;
  std::size_t found = 0;
  for (const auto& place : places) index.around(place, ids);
  state.counters["found"] = static_cast<double>(ids.size());
  std::size_t next = 0;
  for (auto _ : state) {
    ids.clear();
    index.around(places[next++ % kQuestions], ids);
    found += ids.size();
  }
  benchmark::DoNotOptimize(found);
}

void circlesAround(benchmark::State& state) {
  const auto circles = centres(state.range(0));
  const auto before = heapBytes();
  CircleIndex index;
  std::uint64_t id = 0;
  for (const auto& centre : circles) index.insert(++id, centre, kRadius);
  std::vector<std::uint64_t> none;
  index.around({0, 0}, none);
  state.counters["bytes"] = static_cast<double>(heapBytes() - before) / state.range(0);
  ask(state, index, circles);
}
BENCHMARK(circlesAround)->Arg(20)->Arg(1000)->Arg(100000)->Arg(1000000);

void circlesAroundInBoost(benchmark::State& state) {
  const auto circles = centres(state.range(0));
  const auto before = heapBytes();
  const BoostIndex index(circles);
  state.counters["bytes"] = static_cast<double>(heapBytes() - before) / state.range(0);
  ask(state, index, circles);
}
BENCHMARK(circlesAroundInBoost)->Arg(20)->Arg(1000)->Arg(100000)->Arg(1000000);

/// A walk through that country.
void fixAmongCircles(benchmark::State& state) {
  Receiver receiver;
  const auto before = heapBytes();
  monitorCircles(receiver, state.range(0));
  state.counters["bytes"] = static_cast<double>(heapBytes() - before) / state.range(0);
  double latitude = 42;
  const Date now = receiver.loop->clock().now();
  for (auto _ : state) {
    latitude = latitude < 49 ? latitude + 1e-5 : 42;
    receiver.engine.handleFix({{latitude, 9}, {10}, now});
  }
}
BENCHMARK(fixAmongCircles)->Arg(100)->Arg(10000)->Arg(100000);

void startMonitoring(benchmark::State& state) {
  for (auto _ : state) {
    Receiver receiver;
    monitorCircles(receiver, state.range(0));
  }
}
BENCHMARK(startMonitoring)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

/// With as many regions watched as the argument says, each of a UUID of its own.
void advertisement(benchmark::State& state) {
  Receiver receiver;
  for (int i = 0; i < state.range(0); ++i) {
    const UUID uuid{{1, 2, 3, 4, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}};
    receiver.manager->startMonitoringForRegion(
        std::make_shared<CLBeaconRegion>(uuid, std::to_string(i)));
  }
  receiver.loop->runUntilIdle();
  Advertisement advertisement;
  advertisement.rssi = {-70};
  advertisement.manufacturerData.push_back(makeBeaconData({kBeaconUUID, 1, 1, {-59}}));
  for (auto _ : state) receiver.engine.handleAdvertisement(advertisement);
}
BENCHMARK(advertisement)->Arg(1)->Arg(10000);

/// One second: every beacon of the region is heard once and the region is ranged.
void rangedSecond(benchmark::State& state) {
  Receiver receiver;
  receiver.manager->startRangingBeaconsInRegion(
      std::make_shared<CLBeaconRegion>(kBeaconUUID, "hall"));
  test::Random random(1);
  for (auto _ : state) {
    hearAll(receiver, state.range(0), random);
    receiver.loop->advance(Seconds{1});
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(rangedSecond)->Arg(10)->Arg(200)->Arg(1000);

}  // namespace
}  // namespace ks

BENCHMARK_MAIN();
