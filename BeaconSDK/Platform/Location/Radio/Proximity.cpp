#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

#include <cmath>

namespace ks {

bool isUsable(Dbm rssi) { return rssi.value >= -127 && rssi.value <= -1; }

bool isPlausiblePower(Dbm measuredPower) {
  return measuredPower >= kLeastMeasuredPower && measuredPower <= kMostMeasuredPower;
}

double lossAtDb(Metres distance) { return 10 * kPathLossExponent * std::log10(distance.value); }

Metres distanceAtLoss(double lossDb) { return {std::pow(10, lossDb / (10 * kPathLossExponent))}; }

Dbm expectedRssi(Dbm measuredPower, Metres distance) {
  return {measuredPower.value - lossAtDb(distance)};
}

CLProximity proximityAtLoss(double lossDb) {
  static const double kImmediateLoss = lossAtDb(kImmediateBorder);
  static const double kNearLoss = lossAtDb(kNearBorder);
  if (lossDb < kImmediateLoss) return CLProximity::immediate;
  return lossDb < kNearLoss ? CLProximity::near : CLProximity::far;
}

}  // namespace ks
