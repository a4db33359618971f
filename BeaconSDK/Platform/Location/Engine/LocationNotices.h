#pragma once

#include <cstdint>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"

namespace ks {

/// True for 1, 10, 100 and so on: what is counted is told at first and when it has grown tenfold.
bool isWorthTelling(std::uint64_t count);

/// "The circle 'kiosk' of 20 m is smaller than the uncertainty of positions there, 35 m: it cannot
/// be entered".
std::string tooSmallText(const CLCircularRegion& circle, Metres uncertainty);
/// "Beacon UUID:1:2 claims 127 dBm at 1 m, which no beacon has: -59 dBm stands in (10 packets so
/// far)".
std::string replacedPowerText(const BeaconFrame& frame, std::uint64_t count);
/// "Beacon UUID:1:2 is sent by two senders: its distance means nothing".
std::string sharedIdentityText(const BeaconFrame& frame);
/// "Too many beacons of UUID: UUID:1:2 is not ranged (10 packets so far)".
std::string untrackedText(const BeaconFrame& frame, std::uint64_t count);
/// "The monitored regions could not be saved (10 attempts so far)".
std::string failedSaveText(std::uint64_t count);

}  // namespace ks
