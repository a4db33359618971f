#include "BeaconSDK/Platform/Location/Engine/LocationCounters.h"

namespace ks {

std::map<std::string, std::int64_t> LocationCounters::byName() const {
  const auto count = [](std::uint64_t number) { return static_cast<std::int64_t>(number); };
  return {{"advertisements", count(advertisements)},
          {"skippedElements", count(skippedElements)},
          {"matchedBeacons", count(matchedBeacons)},
          {"untrackedBeacons", count(untrackedBeacons)},
          {"evictedBeacons", count(evictedBeacons)},
          {"replacedPowers", count(replacedPowers)},
          {"sharedIdentities", count(sharedIdentities)},
          {"fixes", count(fixes)},
          {"rejectedFixes", count(rejectedFixes)},
          {"tooSmallCircles", count(tooSmallCircles)},
          {"failedSaves", count(failedSaves)}};
}

}  // namespace ks
