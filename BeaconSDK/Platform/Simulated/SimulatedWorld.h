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

/// What the device's antennas pick up. Main queue.
class SimulatedWorldReceiver {
 public:
  virtual ~SimulatedWorldReceiver() = default;
  virtual void didReceiveAdvertisement(const Advertisement& advertisement) = 0;
  virtual void didFix(const CLLocation& fix) = 0;
  /// The position source is in an outage.
  virtual void positionLost() = 0;
};

/// How radio waves and positions behave everywhere in the world.
struct SimulatedWorldOptions {
  std::uint64_t seed = 1;
  /// Strength falls by ten times this many decibels whenever the distance grows tenfold: 2 in free
  /// space, 2.5 to 4 indoors.
  double pathLossExponent = 2;
  /// What is weaker is not received; about what phones reach.
  Dbm sensitivity{-100};
  SimulatedPositionErrors positionErrors{};
  /// What happens to advertisements on their way; nothing at first.
  SimulatedPropagation propagation{};
  /// Between two fixes, while positions are wanted.
  std::int64_t secondsBetweenFixes = 1;
  /// The source pauses for as long as is asked of it, where that is longer.
  bool fixesFollowDemand = false;
};

/// Beacons, a device that walks among them, and the waves between.
///
/// Everything that happens is a function of the options, the beacons, the walk and the date, not of
/// who listens since when: two devices at the same place and date hear the same. Once a second, and
/// only while somebody listens, the device gets a fix and then what its antenna has heard in the
/// second before, in order of time. Beacons out of reach cost nothing as long as the device stays
/// in the neighbourhood. Main queue only.
class SimulatedWorld {
 public:
  using BeaconId = std::uint32_t;

  SimulatedWorld(DispatchQueue& mainQueue, const Clock& clock, SimulatedWorldReceiver& receiver,
                 SimulatedWorldOptions options = {});
  SimulatedWorld(const SimulatedWorld&) = delete;
  SimulatedWorld& operator=(const SimulatedWorld&) = delete;
  ~SimulatedWorld();

  /// Sets the walk of the device; it starts at 0, 0.
  void setWalk(SimulatedWalk walk);
  void placeDevice(CLLocationCoordinate2D coordinate) { setWalk(SimulatedWalk(coordinate)); }
  SimulatedWalk::Position devicePosition() const { return walk_.positionAt(clock_.now()); }
  /// The position source gives nothing in these intervals.
  void setPositionOutages(std::vector<DateInterval> outages) { outages_ = std::move(outages); }

  BeaconId addBeacon(SimulatedBeacon beacon);
  /// Null for a beacon that is not there.
  const SimulatedBeacon* beacon(BeaconId id) const;
  /// Replaces a beacon: moves it, empties its battery, switches it off.
  void setBeacon(BeaconId id, SimulatedBeacon beacon);
  void removeBeacon(BeaconId id);

  /// Whether there are listeners. Nothing is computed while there are none.
  void setListening(bool toBeacons, bool toPositions);
  /// How far apart fixes may be; matters where they follow the demand.
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
  /// Replaced while signals of theirs may still be on the way.
  std::vector<std::unique_ptr<Sender>> retired_;
  BeaconId lastBeacon_ = 0;
  bool listensToBeacons_ = false;
  bool listensToPositions_ = false;

  TimerId timer_ = 0;
  /// The second, since the world's epoch, of the last tick.
  std::int64_t tick_ = std::numeric_limits<std::int64_t>::min();
  std::int64_t lastFix_ = std::numeric_limits<std::int64_t>::min();

  /// The beacons that could be heard around the place where they were looked for.
  std::vector<Neighbour> neighbours_;
  std::optional<CLLocationCoordinate2D> neighboursPlace_;
  /// Where the device stood when the neighbours' strengths were computed.
  std::optional<CLLocationCoordinate2D> strengthsPlace_;
  std::vector<Signal> signals_;
};

}  // namespace ks
