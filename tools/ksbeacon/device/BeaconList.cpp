#include "tools/ksbeacon/device/BeaconList.h"

#include <algorithm>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryStatus.h"

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
    if (!frame) continue;
    const Identity identity{frame->proximityUUID, frame->major, frame->minor};
    if (entries_.size() >= kMostBeacons && !entries_.contains(identity)) {
      forget(now);
      if (entries_.size() >= kMostBeacons) return;
    }
    Entry& entry = entries_[identity];
    entry.beacon.frame = *frame;
    hear(entry, advertisement, time);
  }
}

void BeaconList::hear(Entry& entry, const Advertisement& advertisement, Seconds time) {
  HeardBeacon& beacon = entry.beacon;
  beacon.address = advertisement.address;
  entry.heard = std::max(entry.heard, time);
  entry.gaps.heard(entry.heard);
  beacon.interval = entry.gaps.meanGap();
  if (!isUsable(advertisement.rssi)) return;
  entry.filter->add(entry.heard, advertisement.rssi);
  const Dbm filtered = entry.filter->value();
  beacon.rssi = advertisement.rssi;
  beacon.filteredRssi = filtered;
  beacon.distance = estimatedDistance(beacon.frame.measuredPower, filtered);
  beacon.proximity = proximityOf(beacon.frame.measuredPower, filtered, beacon.proximity,
                                 crossingMarginDb(beacon.interval.value_or(Seconds{1})));
}

void BeaconList::forget(Seconds now) {
  std::erase_if(entries_, [&](const auto& entry) {
    if (now - entry.second.heard <= kMemory) return false;
    batteries_.erase(entry.second.beacon.address);
    return true;
  });
}

std::vector<HeardBeacon> BeaconList::beacons(Seconds now) {
  forget(now);
  std::vector<HeardBeacon> list;
  for (const auto& [identity, entry] : entries_) {
    list.push_back(entry.beacon);
    list.back().silence = now - entry.heard;
    const auto battery = batteries_.find(entry.beacon.address);
    if (battery != batteries_.end()) list.back().battery = battery->second;
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
