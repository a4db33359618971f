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
  /// Arrival of the device. Absent: computed from `speed` and the previous stop.
  std::optional<Date> arrival{};
  /// Speed on the way here, without an arrival; 1.4 m/s is an adult's usual walk.
  MetresPerSecond speed{1.4};
  /// How long the device stays.
  Seconds pause{0};
  /// Accuracy that the position source reports from here to the next stop.
  Metres accuracy{5};
};

/// The positions of a device over time: on straight lines from stop to stop, before the walk at the
/// first one and after it at the last one.
class SimulatedWalk {
 public:
  /// A device that stays at one place.
  explicit SimulatedWalk(CLLocationCoordinate2D place = {});
  /// The walk leaves the first stop at `start` and its pause, unless that stop has an arrival.
  /// Throws `std::invalid_argument` when there is no stop, when a stop's arrival comes before the
  /// end of the stop before, or when a speed is not above 0.
  SimulatedWalk(Date start, std::vector<SimulatedWaypoint> stops);

  struct Position {
    CLLocationCoordinate2D coordinate;
    Metres accuracy;
  };
  /// Returns the position at `date`. Amortized constant time for ascending dates.
  Position positionAt(Date date) const;
  /// Returns the arrival at the last stop.
  Date end() const { return legs_.back().arrival; }

  /// A stop with its arrival and departure.
  struct Leg {
    CLLocationCoordinate2D coordinate;
    Date arrival;
    Date departure;
    Metres accuracy;
  };
  const std::vector<Leg>& legs() const { return legs_; }

 private:
  std::vector<Leg> legs_;
  /// Index of the leg that was used last.
  mutable std::size_t last_ = 0;
};

}  // namespace ks
