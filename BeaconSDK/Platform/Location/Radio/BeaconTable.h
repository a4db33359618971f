#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/Advertisement.h"
#include "BeaconSDK/Platform/Location/Radio/PacketGaps.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

namespace ks {

/// Beacons of one proximity UUID that are remembered at most. Strangers may send any number of
/// majors and minors under a known UUID; those that find no room still count as a sign of their
/// region, but are not ranged.
inline constexpr std::size_t kMostBeaconsPerUUID = 4096;

/// One beacon that was heard.
struct TrackedBeacon {
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  Dbm measuredPower{0};
  /// When its last packet came, and the last one with a usable strength.
  Seconds heard{0};
  Seconds measured{0};
  /// Null until there was a usable strength.
  std::unique_ptr<RssiFilter> filter;
  PacketGaps gaps;
  CLProximity proximity = CLProximity::unknown;
  /// The monitored regions that it belongs to, as of the group's `regionsVersion`.
  std::vector<MonitoredRegion*> regions;
  std::uint64_t regionsVersion = 0;
};

/// The beacons of one proximity UUID that somebody monitors or ranges.
class BeaconGroup {
 public:
  /// Null when there is no room for another beacon. `time` is the packet's, `now` is not before.
  TrackedBeacon* heard(const BeaconFrame& frame, Dbm rssi, Seconds time, Seconds now);
  const std::vector<std::unique_ptr<TrackedBeacon>>& beacons() const { return beacons_; }

  void watch(MonitoredRegion& region);
  void unwatch(const MonitoredRegion& region);
  /// The monitored regions of a beacon; constant time unless regions have come or gone.
  const std::vector<MonitoredRegion*>& regionsOf(TrackedBeacon& beacon);
  /// The same for a beacon that is not tracked.
  std::vector<MonitoredRegion*> regionsOf(const BeaconFrame& frame) const;

  int users = 0;

 private:
  TrackedBeacon* add(const BeaconFrame& frame, Seconds now);
  void sweep(Seconds now);

  std::vector<std::unique_ptr<TrackedBeacon>> beacons_;
  boost::unordered_flat_map<std::uint32_t, TrackedBeacon*> byNumbers_;
  std::vector<MonitoredRegion*> regions_;
  std::uint64_t regionsVersion_ = 1;
  Seconds nextSweep_{0};
};

/// All groups. Frames of other UUIDs leave no trace.
class BeaconTable {
 public:
  /// The group of a UUID, made for the first user.
  BeaconGroup& use(UUID uuid);
  void release(UUID uuid);
  /// Null when nobody uses it.
  BeaconGroup* find(UUID uuid) const;

 private:
  boost::unordered_flat_map<UUID, std::unique_ptr<BeaconGroup>, std::hash<UUID>> groups_;
};

}  // namespace ks
