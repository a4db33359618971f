#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"
#include "bench/gate/Bystander.h"

namespace ks::gate {

/// A simulated device at the world's origin with the whole engine on it, and one beacon, whose
/// content fires on entering NEAR without any delay. Advertisements come as raw bytes; what is
/// counted is what an application would be told.
class Station : public CLLocationManagerDelegate, public ks::EngineObserver {
 public:
  /// The beacon stands `distance` north of the device.
  Station(SimulatedBeacon beacon, Metres distance, SimulatedPlatformOptions options = {});
  ~Station() override;

  void pass(Seconds time) { platform_->advance(time); }
  SimulatedPlatform& platform() { return *platform_; }
  /// The beacon of that minor fires a content on entering NEAR.
  void learnContent(std::uint16_t minor);
  /// The beacon, which may be moved or switched off.
  SimulatedBeacon beacon() const { return *platform_->world().beacon(id_); }
  void setBeacon(SimulatedBeacon beacon) { platform_->world().setBeacon(id_, std::move(beacon)); }

  int notifications = 0;
  int entries = 0;
  int exits = 0;
  Date lastExit;
  /// The proximity that ranging reported last, and how often it changed from one known to another.
  CLProximity proximity = CLProximity::unknown;
  int changes = 0;
  /// The first known proximity of the visit.
  CLProximity firstProximity = CLProximity::unknown;
  /// What simple rules make of the same packets.
  std::vector<Bystander> others{bystanders().begin(), bystanders().end()};

 private:
  using RegionPointer = std::shared_ptr<const CLRegion>;
  void didDetermineState(CLLocationManager&, CLRegionState state, const RegionPointer&) override;
  void didEnterRegion(CLLocationManager&, const RegionPointer&) override { ++entries; }
  void didExitRegion(CLLocationManager&, const RegionPointer&) override;
  void didRangeBeacons(CLLocationManager&, const std::vector<CLBeacon>&,
                       const RegionPointer&) override;
  void triggerDecided(const ks::TriggerDecision& decision) override;

  std::shared_ptr<SimulatedPlatform> platform_;
  SimulatedWorld::BeaconId id_ = 0;
  std::unique_ptr<KSEngineRooms> rooms_;
  std::shared_ptr<ks::EngineObserver> self_{this, [](ks::EngineObserver*) {}};
};

/// A beacon with 4 dB of noise that sends every `interval` seconds and loses that share of it.
SimulatedBeacon beaconOf(double interval, double loss);
/// The place `metres` north of the world's origin.
CLLocationCoordinate2D north(double metres);

}  // namespace ks::gate
