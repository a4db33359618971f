#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks::tool {

/// Remembers the last ranging result of each region and says what the next one changes: most change
/// nothing but distances, which costs one look-up a beacon and allocates nothing.
class RangingChanges {
 public:
  using Identity = std::tuple<UUID, std::uint16_t, std::uint16_t>;

  struct Changes {
    /// The first result of the region.
    bool isFirst = false;
    /// New ones and those at another proximity, in the order of the result.
    std::vector<const CLBeacon*> changed;
    std::vector<Identity> gone;
  };

  /// `beacons` must outlive the answer.
  Changes changesBy(const std::string& region, const std::vector<CLBeacon>& beacons);

 private:
  struct Hash {
    std::size_t operator()(const Identity& beacon) const {
      const auto& [uuid, major, minor] = beacon;
      return std::hash<UUID>{}(uuid) ^ (std::size_t{major} << 16 | minor) * 0x9E3779B97F4A7C15;
    }
  };
  struct Known {
    CLProximity proximity = CLProximity::unknown;
    /// The number of the result that it was in last.
    std::uint64_t result = 0;
  };
  struct Region {
    std::uint64_t results = 0;
    std::unordered_map<Identity, Known, Hash> beacons;
  };
  static std::vector<Identity> forgetGone(Region& region);

  std::unordered_map<std::string, Region> regions_;
};

}  // namespace ks::tool
