#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks::bench {

inline const UUID kUUID = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");

/// An engine that has known `cached` beacons for a while: their stays have begun and their levels
/// were asked for.
class Site {
 public:
  explicit Site(std::int64_t cached) {
    Platform::install(platform);
    rooms = std::make_unique<KSEngineRooms>(
        *platform, KSPortalAccess{{"https://portal.invalid"}, {}, "u", "p", "bench"}, Refinements{},
        Consent{}, delegate);
    rooms->batteryStatus = std::make_unique<KSBatteryStatus>(*platform);
    for (std::int64_t i = 0; i < cached; ++i) rooms->book.append(makeBeacon(i));
  }
  ~Site() {
    rooms.reset();
    Platform::install(nullptr);
  }

  void range(const std::vector<CLBeacon>& beacons, double secondsLater) {
    platform->loop().stall(Seconds{secondsLater});
    rooms->tracker.didRangeBeacons(beacons, region);
  }
  /// The last `count` of the cached beacons, the worst case for any search in order.
  static std::vector<CLBeacon> lastOf(std::int64_t cached, std::int64_t count) {
    std::vector<CLBeacon> beacons;
    for (std::int64_t i = cached - count; i < cached; ++i) {
      beacons.push_back({kUUID, major(i), minor(i), CLProximity::near, {2}, {-60}});
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

  std::shared_ptr<SimulatedPlatform> platform = std::make_shared<SimulatedPlatform>();
  CLLocationManagerDelegate delegate;
  std::unique_ptr<KSEngineRooms> rooms;
  std::shared_ptr<const CLBeaconRegion> region = std::make_shared<CLBeaconRegion>(kUUID, "site");
};

}  // namespace ks::bench
