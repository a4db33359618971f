#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// How the signal strength falls with distance: 2 is free space and a fair mean indoors, where
/// published measurements lie between 1.6 (corridors) and 3 (through furniture).
inline constexpr double kPathLossExponent = 2.0;
/// Stands in for a measured power that no transmitter has (outside -127 to -1 dBm); the usual value
/// of a beacon at 0 dBm.
inline constexpr Dbm kUsualMeasuredPower{-59};

/// Below the first border a beacon is immediate, below the second near, beyond it far.
inline constexpr Metres kImmediateBorder{0.5};
inline constexpr Metres kNearBorder{4};
/// How far past a border a beacon must seem to be before it has crossed it, given the mean time
/// between its packets: 3.5 dB at 200 ms, 4.5 at 1 s (a factor of 1.68 in distance), 5.5 at 5 s.
/// The less often it is heard the less its estimate can be trusted; docs/location.md shows what
/// remains of flapping.
double crossingMarginDb(Seconds meanGap);

/// True for strengths that a radio can have measured: -127 to -1 dBm.
bool isUsable(Dbm rssi);

/// The log-distance path-loss model.
Metres estimatedDistance(Dbm measuredPower, Dbm rssi);
Dbm expectedRssi(Dbm measuredPower, Metres distance);

/// The proximity of a beacon with that strength, given what it was; `unknown` for none, and then
/// without margin.
CLProximity proximityOf(Dbm measuredPower, Dbm rssi, CLProximity before, double marginDb);

}  // namespace ks
