#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "tools/ksbeacon/device/BeaconList.h"

namespace ks::tool {

/// A beacon on one line, without a line break: the columns of the table, or one JSON object with
/// the moment of its last packet. `now` is the moment of `beacon.silence`.
std::string beaconLine(const HeardBeacon& beacon);
std::string beaconJson(const HeardBeacon& beacon, Date now);
/// What stands above the lines' columns.
std::string beaconHeading();

/// A table of at most `rows` lines, each with its line break: heading, beacons, and at the end how
/// many found no room.
std::vector<std::string> beaconTable(const std::vector<HeardBeacon>& beacons, std::size_t rows);

}  // namespace ks::tool
