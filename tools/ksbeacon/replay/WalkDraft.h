#pragma once

#include <vector>

#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"

namespace ks::tool {

/// Reduces a device's positions to stays and straight ways, few enough for a person to edit. The
/// walk deviates from the positions by at most about `kBlur`.
class WalkDraft {
 public:
  /// Positions closer than this count as the same place: a usual error outdoors.
  static constexpr Metres kBlur{5};

  /// Adds a position; `at` counts from the walk's start and must not fall.
  void add(Seconds at, const CLLocationCoordinate2D& place, Metres accuracy);

  /// Returns the stops of the walk; empty if there was no position.
  std::vector<SimulatedWaypoint> stops() const;

 private:
  struct Stay {
    CLLocationCoordinate2D place;
    Metres accuracy;
    Seconds came{0};
    Seconds left{0};
    /// Positions on the way here that were merged into it.
    std::vector<std::pair<Seconds, CLLocationCoordinate2D>> passed;
  };

  /// True if the straight way from the last stay but one to this position passes the last one.
  bool isOnTheWay(Seconds at, const CLLocationCoordinate2D& place) const;

  std::vector<Stay> stays_;
};

}  // namespace ks::tool
