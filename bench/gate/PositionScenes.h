#pragma once

#include "BeaconSDK/Platform/Simulated/SimulatedPositions.h"

namespace ks::gate {

/// What became of one circle, by the engine and by the naive rule: the device is inside while its
/// last fix is.
struct PositionFigures {
  double engine = 0;
  double naive = 0;
};

/// A device that rests for a day, so far from the centre of a circle of 100 m: crossings told.
struct Rest {
  double fromCentre = 0;
  std::int64_t pause = 10;
  Metres accuracy{20};
  SimulatedPositionErrors errors;
  int days = 1;
};
PositionFigures crossingsPerDay(const Rest& rest);

/// Vehicles that drive straight past a circle of 100 m: the share that was not told entering and
/// then leaving.
struct DriveBy {
  double kilometresPerHour = 50;
  std::int64_t pause = 10;
  /// The least distance of the road to the centre.
  double fromCentre = 0;
  Metres accuracy{20};
  SimulatedPositionErrors errors;
  int drives = 200;
};
PositionFigures missedShare(const DriveBy& driveBy);

/// Walks at 1.4 m/s into a circle of 100 m and out again: seconds from the true crossing to the
/// told one, in the mean of both.
struct Visit {
  std::int64_t pause = 1;
  Metres accuracy{5};
  SimulatedPositionErrors errors;
  int visits = 50;
};
PositionFigures crossingDelay(const Visit& visit);

/// Errors of the size that `accuracy` claims.
SimulatedPositionErrors honestErrors(Metres accuracy);

}  // namespace ks::gate
