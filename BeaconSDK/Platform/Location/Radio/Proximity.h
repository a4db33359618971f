#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// How the signal strength falls with distance: 2 is free space and a fair mean indoors, where
/// published measurements lie between 1.6 (corridors) and 3 (through furniture).
inline constexpr double kPathLossExponent = 2.0;
/// Stands in for a claimed power that no beacon has at 1 m; the usual value of one at 0 dBm.
inline constexpr Dbm kUsualMeasuredPower{-59};
/// The powers at 1 m that beacons can have, from -20 dBm to amplified ones. Firmware that was never
/// set up claims 0, -1 or 127.
inline constexpr Dbm kLeastMeasuredPower{-100};
inline constexpr Dbm kMostMeasuredPower{-25};

/// Below the first border a beacon is immediate, below the second near, beyond it far.
inline constexpr Metres kImmediateBorder{0.5};
inline constexpr Metres kNearBorder{4};

/// True for strengths that a radio can have measured: -127 to -1 dBm.
bool isUsable(Dbm rssi);
/// False for a claimed power that must be replaced by `kUsualMeasuredPower`.
bool isPlausiblePower(Dbm measuredPower);

/// The log-distance path-loss model. A loss is how much weaker than at 1 m a signal is, in dB.
double lossAtDb(Metres distance);
Metres distanceAtLoss(double lossDb);
Dbm expectedRssi(Dbm measuredPower, Metres distance);

/// Between which borders a signal of that loss lies.
CLProximity proximityAtLoss(double lossDb);

}  // namespace ks
