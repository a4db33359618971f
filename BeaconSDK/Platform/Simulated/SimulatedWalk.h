#pragma once

#include <compare>
#include <optional>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"

namespace ks {

struct MetresPerSecond {
  double value = 0;
  friend auto operator<=>(const MetresPerSecond&, const MetresPerSecond&) = default;
};

/// A stop of a walk.
struct SimulatedWaypoint {
  CLLocationCoordinate2D coordinate{};
  /// When the device is here. Absent: as soon as `speed` brings it here from the stop before.
  std::optional<Date> arrival{};
  /// On the way here, when there is no arrival: 1.4 m/s is an adult's usual walk.
  MetresPerSecond speed{1.4};
  /// How long the device stays.
  Seconds pause{0};
  /// What the position source claims from here to the next stop.
  Metres accuracy{5};
};

/// Where a device is at each moment: on straight lines from stop to stop, before the walk at the
/// first one and after it at the last one.
class SimulatedWalk {
 public:
  /// A device that never leaves its place.
  explicit SimulatedWalk(CLLocationCoordinate2D place = {});
  /// The walk leaves the first stop at `start` and its pause, unless that stop has an arrival.
  /// Throws `std::invalid_argument` when there is no stop, when a stop's arrival comes before the
  /// end of the stop before, or when a speed is not above 0.
  SimulatedWalk(Date start, std::vector<SimulatedWaypoint> stops);

  struct Position {
    CLLocationCoordinate2D coordinate;
    Metres accuracy;
  };
  /// Fast when asked about moments in rising order.
  Position positionAt(Date date) const;
  /// When the device comes to its last stop.
  Date end() const { return legs_.back().arrival; }

  /// A stop, with the moments of coming and going.
  struct Leg {
    CLLocationCoordinate2D coordinate;
    Date arrival;
    Date departure;
    Metres accuracy;
  };
  const std::vector<Leg>& legs() const { return legs_; }

 private:
  std::vector<Leg> legs_;
  /// The stop that was left or stayed at when last asked.
  mutable std::size_t last_ = 0;
};

}  // namespace ks
