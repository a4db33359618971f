#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Positions that are good enough, and no better.
struct PositionWish {
  Metres accuracy{0};
  Seconds interval{0};
  friend bool operator==(const PositionWish&, const PositionWish&) = default;
};

/// The nearest border of a circle, seen from the device.
struct NearestBorder {
  Metres distance{0};
  /// Of the circle that it belongs to.
  Metres radius{0};
};

/// A border so far away is as good as none, on foot and by car.
inline constexpr Metres kFarthestBorder{100000};

/// After so long without movement the device is likely to stay.
inline constexpr Seconds kLongRest{180};

/// What circles need of positions: the nearer the next border in time, the finer and the sooner. In
/// steps, so that a source is not bothered with each metre. `speed` in metres a second.
/// A device that rests for `kLongRest` asks for little, also beside a border.
PositionWish positionWish(const NearestBorder& border, double speed, Seconds rest);

}  // namespace ks
