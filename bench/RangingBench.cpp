// What ranging costs: per ranged beacon, whatever the number of cached ones, and for a whole day.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace {

const ks::UUID kUUID = *ks::UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

/// An engine that has known `cached` beacons for a while: their stays have begun and their levels
/// were asked for.
class Site {
 public:
  explicit Site(std::int64_t cached) {
    ks::Platform::install(platform);
    rooms = std::make_unique<KSEngineRooms>(
        *platform, KSPortalAccess{{"https://portal.invalid"}, {}, "u", "p", "bench"},
        ks::Refinements{}, ks::Consent{}, delegate);
    rooms->batteryStatus = std::make_unique<KSBatteryStatus>(*platform);
    for (std::int64_t i = 0; i < cached; ++i) rooms->book.append(makeBeacon(i));
  }
  ~Site() {
    rooms.reset();
    ks::Platform::install(nullptr);
  }

  void range(const std::vector<ks::CLBeacon>& beacons, double secondsLater) {
    platform->loop().stall(ks::Seconds{secondsLater});
    rooms->tracker.didRangeBeacons(beacons, region);
  }
  /// The last `count` of the cached beacons, the worst case for any search in order.
  static std::vector<ks::CLBeacon> lastOf(std::int64_t cached, std::int64_t count) {
    std::vector<ks::CLBeacon> beacons;
    for (std::int64_t i = cached - count; i < cached; ++i) {
      beacons.push_back({kUUID, major(i), minor(i), ks::CLProximity::near, {2}, {-60}});
    }
    return beacons;
  }

 private:
  static std::uint16_t major(std::int64_t i) { return static_cast<std::uint16_t>(1 + i / 60000); }
  static std::uint16_t minor(std::int64_t i) { return static_cast<std::uint16_t>(1 + i % 60000); }
  static std::shared_ptr<KSPrivateBeacon> makeBeacon(std::int64_t i) {
    auto content = std::make_shared<KSTextPushProximityZoneContent>();
    content->identifier = "c" + std::to_string(i);
    content->proximity = 2;
    content->eventIsEnter = true;
    auto beacon = std::make_shared<KSPrivateBeacon>();
    beacon->setIdentifier("b" + std::to_string(i));
    beacon->setName("Beacon " + std::to_string(i));
    beacon->setUuid(kUUID);
    beacon->setMajor(major(i));
    beacon->setMinor(minor(i));
    beacon->setContent(content);
    beacon->setState(KSPrivateBeaconState::contentFetched);
    beacon->setSentEnterEvent(true);
    return beacon;
  }

  std::shared_ptr<ks::SimulatedPlatform> platform = std::make_shared<ks::SimulatedPlatform>();
  ks::CLLocationManagerDelegate delegate;
  std::unique_ptr<KSEngineRooms> rooms;
  std::shared_ptr<const ks::CLBeaconRegion> region =
      std::make_shared<ks::CLBeaconRegion>(kUUID, "site");
};

void rangedBeacon(benchmark::State& state) {
  constexpr std::int64_t kRanged = 10;
  Site site(state.range(0));
  const auto beacons = Site::lastOf(state.range(0), kRanged);
  for (auto _ : state) site.range(beacons, 3);
  state.SetItemsProcessed(state.iterations() * kRanged);
}
BENCHMARK(rangedBeacon)->Arg(10)->Arg(1000)->Arg(100000);

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
