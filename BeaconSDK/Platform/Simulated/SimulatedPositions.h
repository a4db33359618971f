#pragma once

#include <cstdint>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"

namespace ks {

/// How a source of positions errs. By default it never does.
struct SimulatedPositionErrors {
  /// Standard deviation of the error in each direction.
  Metres noise{0};
  /// Errors less than this far apart in time resemble each other, as those of satellite receivers
  /// among houses do. 0: each fix errs by itself.
  Seconds memory{0};
  /// Share of fixes that lie far away, in any direction, with a claim of `spikeAccuracy`.
  double spikeProbability = 0;
  Metres nearestSpike{300};
  Metres farthestSpike{1500};
  Metres spikeAccuracy{30};
  /// Share of fixes that only repeat the one before, with its date.
  double repeatProbability = 0;
  /// Fixes claim the radius that holds 68% of their errors, where that is more than the walk's
  /// accuracy; spikes claim how far away they are.
  bool honest = false;
};

/// The fixes along a walk. Each is a function of the seed and its second, not of those that were
/// asked for before.
class SimulatedPositions {
 public:
  /// Seconds are counted from `epoch`.
  SimulatedPositions(std::uint64_t seed, Date epoch, SimulatedPositionErrors errors)
      : seed_(seed), epoch_(epoch), errors_(errors) {}

  /// The fix of this second where one comes every `pause` seconds.
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
