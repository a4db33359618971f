#pragma once

#include <cstdint>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"

namespace ks {

/// Errors of a position source; none by default.
struct SimulatedPositionErrors {
  /// Standard deviation of the error in each direction.
  Metres noise{0};
  /// Errors less than this far apart in time are correlated, as those of satellite receivers
  /// between houses are. 0: each error is independent.
  Seconds memory{0};
  /// Share of fixes that are far off, in any direction, with the accuracy `spikeAccuracy`.
  double spikeProbability = 0;
  Metres nearestSpike{300};
  Metres farthestSpike{1500};
  Metres spikeAccuracy{30};
  /// Share of fixes that repeat the previous one, with its date.
  double repeatProbability = 0;
  /// Fixes report the radius that holds 68% of their errors, if it exceeds the walk's accuracy;
  /// spikes report their distance.
  bool honest = false;
};

/// The fixes along a walk. Each is a function of the seed and its second only.
class SimulatedPositions {
 public:
  /// Seconds are counted from `epoch`.
  SimulatedPositions(std::uint64_t seed, Date epoch, SimulatedPositionErrors errors)
      : seed_(seed), epoch_(epoch), errors_(errors) {}

  /// Returns the fix at `second`, with one every `pause` seconds.
  CLLocation fixAt(const SimulatedWalk& walk, std::int64_t second, std::int64_t pause) const;

 private:
  struct Offset {
    double north = 0;
    double east = 0;
  };
  Offset offsetAt(std::int64_t second) const;
  Offset draw(std::int64_t number, std::uint64_t salt) const;
  double chance(std::int64_t second, std::uint64_t salt) const;

  std::uint64_t seed_;
  Date epoch_;
  SimulatedPositionErrors errors_;
};

}  // namespace ks
