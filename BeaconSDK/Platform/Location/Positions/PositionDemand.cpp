#include "BeaconSDK/Platform/Location/Positions/PositionDemand.h"

#include <algorithm>
#include <array>

namespace ks {

namespace {

// The uncertainty may be this share of the way to the border, or of the circle.
constexpr double kDistanceShare = 0.25;
constexpr double kRadiusShare = 0.5;
constexpr double kUsualWalk = 1.4;
// Half of the time to the border, so that the other half is looked at again.
constexpr double kTimeShare = 0.5;
// Seconds between two looks at a device that rests.
constexpr double kRestInterval = 30;

constexpr std::array kAccuracies{10.0, 25.0, 50.0, 100.0, 250.0, 500.0, 1000.0};
constexpr std::array kIntervals{1.0, 2.0, 5.0, 10.0, 30.0, 60.0, 120.0, 300.0};

/// The largest step that is not above the value, or the first.
template <std::size_t Size>
double step(const std::array<double, Size>& steps, double value) {
  const auto above = std::ranges::upper_bound(steps, value);
  return above == steps.begin() ? steps.front() : *(above - 1);
}

}  // namespace

PositionWish positionWish(const NearestBorder& border, double speed, Seconds rest) {
  const double distance = border.distance.value;
  // A small circle is seen with a sharp eye when it is near, a large one needs none.
  const double circle = std::min(border.radius.value * kRadiusShare, 100.0);
  const double accuracy = std::max(distance * kDistanceShare, circle);
  double time = kTimeShare * distance / std::max(speed, kUsualWalk);
  if (rest >= kLongRest) time = std::max(time, kRestInterval);
  return {{step(kAccuracies, accuracy)}, Seconds{step(kIntervals, time)}};
}

}  // namespace ks
