#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Location/Engine/LocationEngine.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SimulatedQueue.h"
#include "tests/Location/RadioWalk.h"

namespace ks::bench {

inline constexpr UUID kBeaconUUID{{1, 2, 3, 4}};

/// A location engine in virtual time that stores nothing, and an application's manager.
struct Receiver : LocationDemandListener, CLLocationManagerDelegate {
  struct NullStore : LocationStateStore {
    FileContent load() override { return {}; }
    bool save(const Data&) override { return true; }
  };

  Receiver() {
    engine.setAuthorizationStatus(CLAuthorizationStatus::authorizedAlways);
    manager->setDelegate(this);
  }
  ~Receiver() override { manager.reset(); }
  void locationDemandChanged(const LocationDemand&) override {}

  std::shared_ptr<SimulatedLoop> loop = std::make_shared<SimulatedLoop>();
  SimulatedQueue queue{loop, SimulatedQueue::Role::main};
  NullStore store;
  LocationEngine engine{loop->clock(), queue, store, *this};
  std::unique_ptr<CLLocationManager> manager = engine.makeLocationManager();
};

inline CLLocationCoordinate2D placeInCountry(test::Random& random) {
  return {41 + 9 * random.uniform(), 5 + 10 * random.uniform()};
}

inline constexpr Metres kRadius{100};

/// Circles of 100 m all over a country of 1,000 by 800 km.
inline void monitorCircles(Receiver& receiver, std::int64_t count) {
  test::Random random(1);
  for (std::int64_t i = 0; i < count; ++i) {
    receiver.manager->startMonitoringForRegion(
        std::make_shared<CLCircularRegion>(placeInCountry(random), kRadius, std::to_string(i)));
  }
  receiver.loop->runUntilIdle();
}

/// Each of `count` beacons once.
inline void hearAll(Receiver& receiver, std::int64_t count, test::Random& random) {
  for (std::int64_t i = 0; i < count; ++i) {
    receiver.engine.handleBeacon({kBeaconUUID, 1, static_cast<std::uint16_t>(i), {-59}},
                                 {-60 - 30 * random.uniform()});
  }
}

}  // namespace ks::bench
