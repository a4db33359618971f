#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

#include <algorithm>
#include <cmath>

namespace ks {

namespace {

/// What the measured power says, or stands in for it.
double powerAtOneMetre(Dbm measuredPower) {
  return (isUsable(measuredPower) ? measuredPower : kUsualMeasuredPower).value;
}

/// How much weaker than at 1 m the signal is on a border, which moves away from the side on which
/// the beacon is known to be.
double borderLoss(Metres border, CLProximity inner, CLProximity before, double marginDb) {
  const double nominal = 10 * kPathLossExponent * std::log10(border.value);
  if (before == CLProximity::unknown) return nominal;
  return before <= inner ? nominal + marginDb : nominal - marginDb;
}

}  // namespace

bool isUsable(Dbm rssi) { return rssi.value >= -127 && rssi.value <= -1; }

Metres estimatedDistance(Dbm measuredPower, Dbm rssi) {
  const double loss = powerAtOneMetre(measuredPower) - rssi.value;
  return {std::pow(10, loss / (10 * kPathLossExponent))};
}

Dbm expectedRssi(Dbm measuredPower, Metres distance) {
  return {measuredPower.value - 10 * kPathLossExponent * std::log10(distance.value)};
}

double crossingMarginDb(Seconds meanGap) {
  return std::clamp(4.5 + 1.5 * std::log10(std::max(meanGap.count(), 0.01)), 3.5, 6.0);
}

CLProximity proximityOf(Dbm measuredPower, Dbm rssi, CLProximity before, double marginDb) {
  using enum CLProximity;
  const double loss = powerAtOneMetre(measuredPower) - rssi.value;
  if (loss < borderLoss(kImmediateBorder, immediate, before, marginDb)) return immediate;
  return loss < borderLoss(kNearBorder, near, before, marginDb) ? near : far;
}

}  // namespace ks
