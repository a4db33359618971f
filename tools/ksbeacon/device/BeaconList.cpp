#include "tools/ksbeacon/device/BeaconList.h"

#include <algorithm>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks::tool {

namespace {

std::optional<int> batteryIn(const Advertisement& advertisement) {
  for (const ServiceData& data : advertisement.serviceData) {
    if (data.service.UUIDString != kCBCBUUID) continue;
    if (const auto level = KSBatteryStatus::levelInServiceData(data.bytes)) return *level;
  }
  return std::nullopt;
}

}  // namespace

void BeaconList::hear(const Advertisement& advertisement, Seconds now) {
  const Seconds time = now - std::max(advertisement.age, Seconds{0});
  if (const auto level = batteryIn(advertisement)) {
    if (batteries_.size() < kMostBeacons || batteries_.contains(advertisement.address)) {
      batteries_[advertisement.address] = *level;
    }
  }
  for (const ManufacturerData& data : advertisement.manufacturerData) {
    const auto frame = readBeaconFrame(data).frame;
    if (!frame || (uuid_ && frame->proximityUUID != *uuid_)) continue;
    const Identity identity{frame->proximityUUID, frame->major, frame->minor};
    if (entries_.size() >= kMostBeacons && !entries_.contains(identity)) {
      forget(now);
      if (entries_.size() >= kMostBeacons) return;
    }
    const auto entered =
        entries_.try_emplace(identity, Entry{{}, BeaconMemory(frame->major, frame->minor)});
    auto& [beacon, memory] = entered.first->second;
    beacon.frame = *frame;
    beacon.address = advertisement.address;
    auto strength = advertisement.rssi;
    if (isUsable(strength)) {
      beacon.rssi = strength;
      strength.value -= gain_.value;
    }
    memory.hear({*frame, strength, time});
  }
}

void BeaconList::forget(Seconds now) {
  std::erase_if(entries_, [&](const auto& entry) {
    if (now - entry.second.memory.lastHeard() <= kMemory) return false;
    batteries_.erase(entry.second.beacon.address);
    return true;
  });
}

HeardBeacon BeaconList::describe(const Entry& entry, Seconds now) const {
  HeardBeacon beacon = entry.beacon;
  beacon.silence = now - entry.memory.lastHeard();
  beacon.interval = entry.memory.gaps().meanGap();
  const auto ranged = entry.memory.ranged(beacon.frame.proximityUUID, now);
  beacon.distance = ranged.accuracy;
  beacon.proximity = ranged.proximity;
  if (ranged.accuracy.value >= 0) beacon.filteredRssi = ranged.rssi;
  const auto battery = batteries_.find(beacon.address);
  if (battery != batteries_.end()) beacon.battery = battery->second;
  return beacon;
}

std::vector<HeardBeacon> BeaconList::beacons(Seconds now) {
  forget(now);
  std::vector<HeardBeacon> list;
  for (const auto& [identity, entry] : entries_) {
    list.push_back(describe(entry, now));
  }
  std::ranges::stable_sort(list, [](const HeardBeacon& a, const HeardBeacon& b) {
    const auto rank = [](const HeardBeacon& beacon) {
      return std::pair(beacon.distance.value < 0, beacon.distance.value);
    };
    return rank(a) < rank(b);
  });
  return list;
}

}  // namespace ks::tool
