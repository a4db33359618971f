#include "bench/gate/Station.h"

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "tests/Support/FakeURLLoadingSystem.h"

namespace ks::gate {

namespace {

constexpr double kDegreeMetres = kMeanEarthRadius.value * 3.14159265358979 / 180;
const UUID kSite = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

}  // namespace

CLLocationCoordinate2D north(double metres) { return {metres / kDegreeMetres, 0}; }

SimulatedBeacon beaconOf(double interval, double loss) {
  SimulatedBeacon beacon;
  beacon.interval = Seconds{interval};
  beacon.lossProbability = loss;
  beacon.noise = Dbm{4};
  return beacon;
}

Station::Station(SimulatedBeacon beacon, Metres distance, SimulatedPlatformOptions options) {
  // Statistics are posted into the void.
  options.urlLoadingSystem = std::make_shared<test::FakeURLLoadingSystem>();
  platform_ = std::make_shared<SimulatedPlatform>(std::move(options));
  Platform::install(platform_);
  beacon.proximityUUID = kSite;
  beacon.major = beacon.minor = 1;
  beacon.coordinate = north(distance.value);
  id_ = platform_->world().addBeacon(std::move(beacon));

  rooms_ = std::make_unique<KSEngineRooms>(
      *platform_, KSPortalAccess{{"https://portal.invalid"}, {}, "u", "p", "gate"},
      ks::Refinements{}, Consent{}, *this);
  platform_->location().engine().setAdvertisementListener([this](const Advertisement& heard) {
    const auto frame = readBeaconFrame(heard.manufacturerData.at(0)).frame;
    const auto time = platform_->clock().uptime() - heard.age;
    for (auto& other : others) other.hear(time, frame->measuredPower, heard.rssi);
  });
  rooms_->observer.set(self_);
  rooms_->locationAccess.create();
  rooms_->batteryStatus = std::make_unique<KSBatteryStatus>(*platform_);
  const auto category = std::make_shared<KSProximityZoneContentCategory>();
  category->identifier = "shoes";
  rooms_->settingsManager->newContentLoadedWithType(
      KSContentDownloadType::contentCategories,
      RecordList<KSProximityZoneContentCategory>{category});
  learnContent(1);
  rooms_->locationAccess.startMonitoring(std::make_shared<CLBeaconRegion>(kSite, "site"));
}

Station::~Station() {
  rooms_.reset();
  platform_->runUntilIdle();
  Platform::install(nullptr);
}

void Station::learnContent(std::uint16_t minor) {
  auto content = std::make_shared<KSTextPushProximityZoneContent>();
  content->identifier = "c" + std::to_string(minor);
  content->categoryIdentifier = "shoes";
  content->proximity = static_cast<std::int64_t>(CLProximity::near);
  content->eventIsEnter = true;
  auto beacon = std::make_shared<KSPrivateBeacon>();
  beacon->setIdentifier("b" + std::to_string(minor));
  beacon->setUuid(kSite);
  beacon->setMajor(1);
  beacon->setMinor(minor);
  beacon->setContent(content);
  beacon->setState(KSPrivateBeaconState::contentFetched);
  beacon->setValidUntil(platform_->clock().now() + Seconds{1e9});
  rooms_->book.append(beacon);
}

void Station::didDetermineState(CLLocationManager&, CLRegionState state,
                                const RegionPointer& region) {
  rooms_->regionEvents.didDetermineState(state, region);
}

void Station::didExitRegion(CLLocationManager&, const RegionPointer&) {
  ++exits;
  lastExit = platform_->clock().now();
}

void Station::didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>& beacons,
                              const RegionPointer& region) {
  rooms_->tracker.didRangeBeacons(beacons, region);
  if (beacons.empty() || beacons[0].proximity == CLProximity::unknown) return;
  const auto before = std::exchange(proximity, beacons[0].proximity);
  if (firstProximity == CLProximity::unknown) firstProximity = proximity;
  changes += before != CLProximity::unknown && before != proximity;
}

void Station::triggerDecided(const ks::TriggerDecision& decision) {
  notifications += decision.outcome == ks::TriggerDecision::Outcome::fired;
}

}  // namespace ks::gate
