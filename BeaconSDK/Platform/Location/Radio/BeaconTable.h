#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Location/Radio/BeaconMemory.h"
#include "BeaconSDK/Platform/Location/Regions/MonitoredRegion.h"

namespace ks {

/// Beacons of one proximity UUID that are remembered at most. Strangers may send any number of
/// majors and minors under a known UUID; those that find no room still count as a sign of their
/// region, but are not ranged. Beacons heard once make room for others, known ones never do.
inline constexpr std::size_t kMostBeaconsPerUUID = 4096;

/// The beacons of one proximity UUID that somebody monitors or ranges.
class BeaconGroup {
 public:
  /// Null when there is no room for another beacon. The packet's time is not after `now`.
  BeaconMemory* heard(const BeaconPacket& packet, Seconds now);
  const std::vector<std::unique_ptr<BeaconMemory>>& beacons() const { return beacons_; }
  /// The device did not listen for a while.
  void interrupt();

  void watch(MonitoredRegion& region);
  void unwatch(const MonitoredRegion& region);
  /// The monitored regions of a beacon; constant time unless regions have come or gone.
  const std::vector<MonitoredRegion*>& regionsOf(BeaconMemory& beacon);
  /// The same for a beacon that is not tracked.
  std::vector<MonitoredRegion*> regionsOf(const BeaconFrame& frame) const;

  /// How many beacons were forgotten for want of room since the last call.
  std::uint64_t takeEvictions() { return std::exchange(evictions_, 0); }

  int users = 0;
  /// When its last user went.
  Seconds released{0};

 private:
  BeaconMemory* add(const BeaconFrame& frame, Seconds now);
  void sweep(Seconds now);
  /// Returns how many.
  template <class Predicate>
  std::size_t forgetIf(Predicate predicate);

  std::vector<std::unique_ptr<BeaconMemory>> beacons_;
  boost::unordered_flat_map<std::uint32_t, BeaconMemory*> byNumbers_;
  std::vector<MonitoredRegion*> regions_;
  std::uint64_t regionsVersion_ = 1;
  Seconds swept_{0};
  std::uint64_t evictions_ = 0;
};

/// All groups. Frames of other UUIDs leave no trace. What was learned of a UUID's beacons outlives
/// its last user by `kLongestSilence`, so that a region that is monitored anew knows its beacons.
class BeaconTable {
 public:
  /// The group of a UUID, made for the first user.
  BeaconGroup& use(UUID uuid, Seconds now);
  void release(UUID uuid, Seconds now);
  /// Null when nobody uses it.
  BeaconGroup* find(UUID uuid) const;
  /// The device did not listen for a while.
  void interrupt();

 private:
  void forgetUnused(Seconds now);

  boost::unordered_flat_map<UUID, std::unique_ptr<BeaconGroup>, std::hash<UUID>> groups_;
  /// Groups without users.
  std::size_t unused_ = 0;
  Seconds nextSweep_{0};
};

}  // namespace ks
