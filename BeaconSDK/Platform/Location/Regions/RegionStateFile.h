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
Data encodeRegions(const RegionRegistry& book);

/// The regions in their order, with `reported` and `state` as they were; nothing when the bytes are
/// damaged in any way or of another version.
std::optional<std::vector<std::shared_ptr<MonitoredRegion>>> decodeRegions(
    std::span<const std::uint8_t> bytes);

/// False when the bytes are no list of this version or were damaged after it was written.
bool isRegionList(std::span<const std::uint8_t> bytes);

/// Of one entry of a journal.
inline constexpr std::size_t kChangeSize = 16;

/// Names a list of regions among others: its check sum, shortened.
std::uint32_t listMark(std::span<const std::uint8_t> bytes);

/// Appends one entry of a journal: the mark of the list, the region's place in it, its reported
/// state and silence limit, and a check sum.
void appendChange(Data& journal, std::uint32_t listMark, const MonitoredRegion& region);

/// Brings the regions of a list up to date. Reading ends at the first entry that is damaged, torn
/// or of another list; false when there was one.
bool applyChanges(std::span<const std::uint8_t> journal, std::uint32_t listMark,
                  const std::vector<std::shared_ptr<MonitoredRegion>>& regions);

}  // namespace ks
