#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPositions.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPropagation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"

namespace ks {

/// Receives the signals around the device. Main queue.
class SimulatedWorldReceiver {
 public:
  virtual ~SimulatedWorldReceiver() = default;
  virtual void didReceiveAdvertisement(const Advertisement& advertisement) = 0;
  virtual void didFix(const CLLocation& fix) = 0;
  /// Called when the position source is in an outage.
  virtual void positionLost() = 0;
};

/// The radio and position model of the whole world.
struct SimulatedWorldOptions {
  std::uint64_t seed = 1;
  /// Strength falls by ten times this many decibels per tenfold distance: 2 in free space, 2.5 to 4
  /// indoors.
  double pathLossExponent = 2;
  /// Minimum strength that is received; about that of phones.
  Dbm sensitivity{-100};
  SimulatedPositionErrors positionErrors{};
  /// Effects on advertisements; none by default.
  SimulatedPropagation propagation{};
  /// Interval of the fixes while positions are wanted.
  std::int64_t secondsBetweenFixes = 1;
  /// True uses the requested interval instead, if it is longer.
  bool fixesFollowDemand = false;
};

/// Beacons, a device that walks among them, and the radio between them.
///
/// All signals are functions of the options, the beacons, the walk and the date, not of when
/// listening began: two devices at the same place and date receive the same. Once a second, and
/// only while there are listeners, the device receives a fix and then the advertisements of the
/// past second, in order of time. Beacons out of range cost nothing as long as the device stays in
/// the area. Main queue only.
class SimulatedWorld {
 public:
  using BeaconId = std::uint32_t;

  SimulatedWorld(DispatchQueue& mainQueue, const Clock& clock, SimulatedWorldReceiver& receiver,
                 SimulatedWorldOptions options = {});
  SimulatedWorld(const SimulatedWorld&) = delete;
  SimulatedWorld& operator=(const SimulatedWorld&) = delete;
  ~SimulatedWorld();

  /// Sets the walk of the device, which is initially at 0, 0.
  void setWalk(SimulatedWalk walk);
  void placeDevice(CLLocationCoordinate2D coordinate) { setWalk(SimulatedWalk(coordinate)); }
  SimulatedWalk::Position devicePosition() const { return walk_.positionAt(clock_.now()); }
  /// Sets the intervals without positions.
  void setPositionOutages(std::vector<DateInterval> outages) { outages_ = std::move(outages); }

  BeaconId addBeacon(SimulatedBeacon beacon);
  /// Returns null for an unknown identifier.
  const SimulatedBeacon* beacon(BeaconId id) const;
  /// Replaces a beacon, for instance to move it, change its battery level or switch it off.
  void setBeacon(BeaconId id, SimulatedBeacon beacon);
  void removeBeacon(BeaconId id);

  /// Whether there are listeners. Nothing is computed while there are none.
  void setListening(bool toBeacons, bool toPositions);
  /// Sets the requested interval of fixes; used with `fixesFollowDemand`.
  void setPositionInterval(Seconds interval);

 private:
  struct Broadcast;
  struct Sender;
  struct Neighbour;
  struct Signal;

  void insert(BeaconId id, SimulatedBeacon beacon);
  void scheduleTick();
  void tick(std::int64_t second);
  void reportPosition();
  void reportAdvertisements();
  void findNeighbours(CLLocationCoordinate2D place);
  void updateStrengths(CLLocationCoordinate2D place);
  void collectSignals(const Neighbour& neighbour);

  DispatchQueue& mainQueue_;
  const Clock& clock_;
  SimulatedWorldReceiver& receiver_;
  SimulatedWorldOptions options_;
  SimulatedPositions positions_;
  std::int64_t wantedPause_ = 0;
  SimulatedWalk walk_;
  std::vector<DateInterval> outages_;
  std::map<BeaconId, std::unique_ptr<Sender>> senders_;
  /// Replaced senders, some of whose signals may still be pending.
  std::vector<std::unique_ptr<Sender>> retired_;
  BeaconId lastBeacon_ = 0;
  bool listensToBeacons_ = false;
  bool listensToPositions_ = false;

  TimerId timer_ = 0;
  /// The second, since the world's epoch, of the last tick.
  std::int64_t tick_ = std::numeric_limits<std::int64_t>::min();
  std::int64_t lastFix_ = std::numeric_limits<std::int64_t>::min();

  /// The beacons within reach of the place of the last search.
  std::vector<Neighbour> neighbours_;
  std::optional<CLLocationCoordinate2D> neighboursPlace_;
  /// Where the device was when the neighbours' strengths were computed.
  std::optional<CLLocationCoordinate2D> strengthsPlace_;
  std::vector<Signal> signals_;
};

}  // namespace ks
