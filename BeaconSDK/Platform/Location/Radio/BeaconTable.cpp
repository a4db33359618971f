#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"

#include <algorithm>

namespace ks {

namespace {

constexpr Seconds kBetweenSweeps{60};
constexpr Seconds kBetweenSweepsWhenFull{1};
// After this much silence what the filter knows is of no use.
constexpr Seconds kFilterMemory{10};

std::uint32_t numbersOf(std::uint16_t major, std::uint16_t minor) {
  return static_cast<std::uint32_t>(major) << 16 | minor;
}

void measure(TrackedBeacon& beacon, Dbm rssi, Seconds time) {
  if (!isUsable(rssi)) return;
  if (!beacon.filter || time - beacon.measured > kFilterMemory) {
    beacon.filter = makeRssiFilter();
    beacon.proximity = CLProximity::unknown;
  }
  beacon.filter->add(time, rssi);
  beacon.measured = time;
}

}  // namespace

TrackedBeacon* BeaconGroup::heard(const BeaconFrame& frame, Dbm rssi, Seconds time, Seconds now) {
  const auto found = byNumbers_.find(numbersOf(frame.major, frame.minor));
  auto* beacon = found != byNumbers_.end() ? found->second : add(frame, now);
  if (beacon == nullptr) return nullptr;
  beacon->heard = std::max(beacon->heard, time);
  beacon->measuredPower = frame.measuredPower;
  beacon->gaps.heard(beacon->heard);
  measure(*beacon, rssi, beacon->heard);
  return beacon;
}

TrackedBeacon* BeaconGroup::add(const BeaconFrame& frame, Seconds now) {
  if (now >= nextSweep_) sweep(now);
  if (beacons_.size() >= kMostBeaconsPerUUID) return nullptr;
  auto* beacon = beacons_.emplace_back(std::make_unique<TrackedBeacon>()).get();
  beacon->major = frame.major;
  beacon->minor = frame.minor;
  byNumbers_[numbersOf(frame.major, frame.minor)] = beacon;
  return beacon;
}

void BeaconGroup::sweep(Seconds now) {
  // While there is room a beacon is remembered beyond its exit, for the sake of its packet gaps.
  const bool crowded = beacons_.size() >= kMostBeaconsPerUUID / 2;
  std::erase_if(beacons_, [&](const auto& beacon) {
    const auto limit = crowded ? beacon->gaps.silenceLimit() : kLongestSilence;
    if (now - beacon->heard <= limit) return false;
    byNumbers_.erase(numbersOf(beacon->major, beacon->minor));
    return true;
  });
  const bool full = beacons_.size() >= kMostBeaconsPerUUID;
  nextSweep_ = now + (full ? kBetweenSweepsWhenFull : kBetweenSweeps);
}

void BeaconGroup::watch(MonitoredRegion& region) {
  regions_.push_back(&region);
  ++regionsVersion_;
}

void BeaconGroup::unwatch(const MonitoredRegion& region) {
  std::erase(regions_, &region);
  ++regionsVersion_;
}

const std::vector<MonitoredRegion*>& BeaconGroup::regionsOf(TrackedBeacon& beacon) {
  if (beacon.regionsVersion != regionsVersion_) {
    beacon.regionsVersion = regionsVersion_;
    beacon.regions = regionsOf({{}, beacon.major, beacon.minor, {}});
  }
  return beacon.regions;
}

std::vector<MonitoredRegion*> BeaconGroup::regionsOf(const BeaconFrame& frame) const {
  std::vector<MonitoredRegion*> matching;
  for (auto* region : regions_) {
    const auto& beacons = *region->beacons;
    if (beacons.matches(beacons.proximityUUID(), frame.major, frame.minor)) {
      matching.push_back(region);
    }
  }
  return matching;
}

BeaconGroup& BeaconTable::use(UUID uuid) {
  auto& group = groups_[uuid];
  if (!group) group = std::make_unique<BeaconGroup>();
  ++group->users;
  return *group;
}

void BeaconTable::release(UUID uuid) {
  const auto found = groups_.find(uuid);
  if (found != groups_.end() && --found->second->users == 0) groups_.erase(found);
}

BeaconGroup* BeaconTable::find(UUID uuid) const {
  const auto found = groups_.find(uuid);
  return found == groups_.end() ? nullptr : found->second.get();
}

}  // namespace ks
