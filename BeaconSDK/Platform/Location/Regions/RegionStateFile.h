#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "BeaconSDK/Platform/Api/Value.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

namespace ks {

/// The monitored regions as bytes: a mark with the version, one entry per region with its shape,
/// flags, reported state and silence limit, and a check sum over all. Integers are little-endian.
Data encodeRegions(const RegionBook& book);

/// The regions in their order, with `reported` and `state` as they were; nothing when the bytes are
/// damaged in any way or of another version.
std::optional<std::vector<std::shared_ptr<MonitoredRegion>>> decodeRegions(
    std::span<const std::uint8_t> bytes);

}  // namespace ks
