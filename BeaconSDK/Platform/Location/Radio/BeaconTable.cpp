#include "BeaconSDK/Platform/Location/Radio/BeaconTable.h"

#include <algorithm>

namespace ks {

namespace {

constexpr Seconds kBetweenSweeps{60};
constexpr Seconds kBetweenSweepsWhenCrowded{1};

std::uint32_t numbersOf(std::uint16_t major, std::uint16_t minor) {
  return static_cast<std::uint32_t>(major) << 16 | minor;
}

}  // namespace

BeaconMemory* BeaconGroup::heard(const BeaconPacket& packet, Seconds now) {
  const auto found = byNumbers_.find(numbersOf(packet.frame.major, packet.frame.minor));
  auto* beacon = found != byNumbers_.end() ? found->second : add(packet.frame, now);
  if (beacon != nullptr) beacon->hear(packet);
  return beacon;
}

void BeaconGroup::interrupt() {
  for (const auto& beacon : beacons_) beacon->interrupt();
}

BeaconMemory* BeaconGroup::add(const BeaconFrame& frame, Seconds now) {
  const bool crowded = beacons_.size() >= kMostBeaconsPerUUID / 2;
  if (now - swept_ >= (crowded ? kBetweenSweepsWhenCrowded : kBetweenSweeps)) sweep(now);
  if (beacons_.size() >= kMostBeaconsPerUUID) return nullptr;
  auto* beacon =
      beacons_.emplace_back(std::make_unique<BeaconMemory>(frame.major, frame.minor)).get();
  byNumbers_[numbersOf(frame.major, frame.minor)] = beacon;
  return beacon;
}

template <class Predicate>
std::size_t BeaconGroup::forgetIf(Predicate predicate) {
  return std::erase_if(beacons_, [&](const auto& beacon) {
    if (!predicate(*beacon)) return false;
    byNumbers_.erase(numbersOf(beacon->major(), beacon->minor()));
    return true;
  });
}

void BeaconGroup::sweep(Seconds now) {
  // While there is room a beacon is remembered beyond its exit, for the sake of its packet gaps.
  const bool crowded = beacons_.size() >= kMostBeaconsPerUUID / 2;
  forgetIf([&](const BeaconMemory& beacon) {
    const auto limit = crowded ? beacon.gaps().silenceLimit() : kLongestSilence;
    return now - beacon.lastHeard() > limit;
  });
  if (beacons_.size() >= kMostBeaconsPerUUID) {
    evictions_ += forgetIf([](const BeaconMemory& beacon) { return !beacon.gaps().meanGap(); });
  }
  swept_ = now;
}

void BeaconGroup::watch(MonitoredRegion& region) {
  regions_.push_back(&region);
  ++regionsVersion_;
}

void BeaconGroup::unwatch(const MonitoredRegion& region) {
  std::erase(regions_, &region);
  ++regionsVersion_;
}

const std::vector<MonitoredRegion*>& BeaconGroup::regionsOf(BeaconMemory& beacon) {
  if (beacon.regionsVersion != regionsVersion_) {
    beacon.regionsVersion = regionsVersion_;
    beacon.regions = regionsOf({{}, beacon.major(), beacon.minor(), {}});
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

BeaconGroup& BeaconTable::use(UUID uuid, Seconds now) {
  forgetUnused(now);
  auto& group = groups_[uuid];
  if (!group) {
    group = std::make_unique<BeaconGroup>();
  } else if (group->users == 0) {
    --unused_;
    group->interrupt();
  }
  ++group->users;
  return *group;
}

void BeaconTable::release(UUID uuid, Seconds now) {
  const auto found = groups_.find(uuid);
  if (found == groups_.end() || --found->second->users > 0) return;
  found->second->released = now;
  ++unused_;
}

void BeaconTable::forgetUnused(Seconds now) {
  if (unused_ == 0 || now < nextSweep_) return;
  nextSweep_ = now + kBetweenSweeps;
  unused_ -= boost::unordered::erase_if(groups_, [&](const auto& entry) {
    return entry.second->users == 0 && now - entry.second->released > kLongestSilence;
  });
}

BeaconGroup* BeaconTable::find(UUID uuid) const {
  const auto found = groups_.find(uuid);
  return found == groups_.end() || found->second->users == 0 ? nullptr : found->second.get();
}

void BeaconTable::interrupt() {
  for (const auto& [uuid, group] : groups_) group->interrupt();
}

}  // namespace ks
