#include "tools/ksbeacon/timeline/RangingChanges.h"

#include <algorithm>
#include <utility>

namespace ks::tool {

RangingChanges::Changes RangingChanges::changesBy(const std::string& name,
                                                  const std::vector<CLBeacon>& beacons) {
  Region& region = regions_[name];
  Changes changes;
  changes.isFirst = region.results++ == 0;
  for (const CLBeacon& beacon : beacons) {
    const auto [known, isNew] =
        region.beacons.try_emplace(Identity{beacon.proximityUUID, beacon.major, beacon.minor});
    known->second.result = region.results;
    const auto before = std::exchange(known->second.proximity, beacon.proximity);
    if (isNew || before != beacon.proximity) changes.changed.push_back(&beacon);
  }
  if (region.beacons.size() > beacons.size()) changes.gone = forgetGone(region);
  return changes;
}

std::vector<RangingChanges::Identity> RangingChanges::forgetGone(Region& region) {
  std::vector<Identity> gone;
  std::erase_if(region.beacons, [&](const auto& beacon) {
    if (beacon.second.result == region.results) return false;
    gone.push_back(beacon.first);
    return true;
  });
  // The table has no order of its own.
  std::ranges::sort(gone);
  return gone;
}

}  // namespace ks::tool
