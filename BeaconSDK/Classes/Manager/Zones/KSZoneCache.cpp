#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

#include <boost/unordered/unordered_flat_set.hpp>
#include <unordered_set>
#include <utility>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

template <class T>
ks::Array arrayOf(const std::vector<std::shared_ptr<T>>& records) {
  return ks::Array(std::vector<ks::Value>(records.begin(), records.end()));
}

/// The records of class `T` in `value`; empty when it is no list.
template <class T>
std::vector<std::shared_ptr<T>> recordsIn(const ks::Value& value) {
  std::vector<std::shared_ptr<T>> records;
  const ks::Array* const array = value.array();
  if (array == nullptr) return records;
  records.reserve(array->items.size());
  for (const ks::Value& item : array->items) {
    if (auto record = item.objectOf<T>()) records.push_back(std::move(record));
  }
  return records;
}

}  // namespace

KSZoneCache::KSZoneCache(ks::Platform& platform, const KSObserverSlot& observer,
                         KSBlockedContents& blockedContents)
    : blockedContents_(blockedContents),
      locationsFile_(
          "locations.dat", KSCacheFile::Haste::background, platform, observer,
          [this] { return ks::Value(arrayOf(locations_)); },
          [this](const ks::Value& stored) {
            if (locations_.empty()) locations_ = recordsIn<KSLocation>(stored);
          }),
      beaconsFile_(
          "beaconsForLocation.dat", KSCacheFile::Haste::background, platform, observer,
          [this] { return beaconsToStore(); },
          [this](const ks::Value& stored) { restoreBeacons(stored); }) {}

std::shared_ptr<KSLocation> KSZoneCache::locationWithIdentifier(std::string_view identifier) const {
  for (const auto& location : locations_) {
    if (location->identifier == identifier) return location;
  }
  return nullptr;
}

void KSZoneCache::loadBeaconsForLocation(Merge merge) {
  kManagerLog("-[KSProximityManager loadBeaconsForLocation]", "loadBeaconsForLocation");
  merge_ = std::move(merge);
  {
    const std::lock_guard lock(beaconsMutex_);
    beaconsForLocation_.clear();
    storedBeacons_.clear();
    listsHolding_.clear();
  }
  beaconsFile_.load();
}

void KSZoneCache::restoreBeacons(const ks::Value& stored) {
  const ks::Dictionary* const entries = stored.dictionary();
  if (entries == nullptr) return;
  const std::lock_guard lock(beaconsMutex_);
  for (const auto& [identifier, value] : *entries) {
    if (beaconsForLocation_.find(identifier) != nullptr) continue;
    auto beacons = recordsIn<KSPrivateBeacon>(value);
    for (auto& beacon : beacons) {
      if (merge_) beacon = merge_(beacon);
      admit(beacon);
    }
    setZones(identifier, std::move(beacons));
  }
}

void KSZoneCache::setZones(const std::string& identifier, ks::PrivateBeaconList beacons) {
  count(zonesOfLocation(identifier), -1);
  count(beacons, 1);
  storedBeacons_[identifier] = arrayOf(beacons);
  beaconsForLocation_.set(identifier, std::move(beacons));
}

void KSZoneCache::count(const ks::PrivateBeaconList& beacons, int change) {
  // A list may hold an object twice; it counts once.
  boost::unordered_flat_set<const KSPrivateBeacon*> counted(beacons.size());
  for (const auto& beacon : beacons) {
    if (!counted.insert(beacon.get()).second) continue;
    if ((listsHolding_[beacon.get()] += change) == 0) listsHolding_.erase(beacon.get());
  }
}

int KSZoneCache::listsHolding(const KSPrivateBeacon& beacon) const {
  const auto found = listsHolding_.find(&beacon);
  return found == listsHolding_.end() ? 0 : found->second;
}

std::vector<std::shared_ptr<KSProximityZone>> KSZoneCache::knownZones() const {
  const std::scoped_lock lock(beaconsMutex_, geofencesMutex_);
  std::vector<std::shared_ptr<KSProximityZone>> zones;
  std::unordered_set<const KSPrivateBeacon*> taken;
  for (const auto& [location, beacons] : beaconsForLocation_) {
    for (const auto& beacon : beacons) {
      if (taken.insert(beacon.get()).second) zones.push_back(beacon);
    }
  }
  for (const auto& [region, geofence] : prefetchGeofences_) zones.push_back(geofence);
  return zones;
}

std::size_t KSZoneCache::zonesKnown() const {
  const std::scoped_lock lock(beaconsMutex_, geofencesMutex_);
  return listsHolding_.size() + prefetchGeofences_.size();
}

ks::Value KSZoneCache::beaconsToStore() const {
  ks::Dictionary entries;
  for (const auto& [identifier, beacons] : beaconsForLocation_) {
    entries.set(identifier, storedBeacons_.at(identifier));
  }
  return entries;
}

ks::PrivateBeaconList KSZoneCache::zonesOfLocation(const std::string& identifier) const {
  const ks::PrivateBeaconList* const held = beaconsForLocation_.find(identifier);
  return held == nullptr ? ks::PrivateBeaconList{} : *held;
}

std::shared_ptr<KSLocation> KSZoneCache::replaceZonesOfLocation(const std::string& identifier,
                                                                ks::PrivateBeaconList beacons,
                                                                ks::Date now) {
  for (const auto& beacon : beacons) admit(beacon);
  // After the new zones were filed: a beacon that keeps its manufacturer identifier is filed again
  // only with its next content.
  for (const auto& beacon : zonesOfLocation(identifier)) removeManufacturerOf(*beacon);
  setZones(identifier, std::move(beacons));
  saveBeaconsForLocation();
  auto location = locationWithIdentifier(identifier);
  if (!location) return nullptr;
  location->zonesSyncedOn = now;
  saveLocations();
  return location;
}

void KSZoneCache::admit(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  blockedContents_.applyTo(beacon->content().get());
  fileByManufacturer(beacon);
}

void KSZoneCache::fileByManufacturer(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto& identifier = beacon->manufacturerIdentifier();
  if (identifier) beaconsForManufacturerId_[*identifier] = beacon;
}

void KSZoneCache::removeManufacturerOf(const KSPrivateBeacon& beacon) {
  const auto& identifier = beacon.manufacturerIdentifier();
  if (identifier) beaconsForManufacturerId_.erase(*identifier);
}

std::shared_ptr<KSPrivateBeacon> KSZoneCache::beaconForManufacturerId(
    const std::string& identifier) const {
  const auto found = beaconsForManufacturerId_.find(identifier);
  return found == beaconsForManufacturerId_.end() ? nullptr : found->second;
}

void KSZoneCache::setGeofence(const std::shared_ptr<KSGeofence>& geofence) {
  blockedContents_.applyTo(geofence->content().get());
  const std::lock_guard lock(geofencesMutex_);
  prefetchGeofences_.set(geofence->monitoringRegion()->identifier(), geofence);
}

std::shared_ptr<KSGeofence> KSZoneCache::geofenceForRegion(
    std::string_view regionIdentifier) const {
  const std::lock_guard lock(geofencesMutex_);
  const auto* const geofence = prefetchGeofences_.find(regionIdentifier);
  return geofence == nullptr ? nullptr : *geofence;
}

std::optional<std::vector<std::shared_ptr<KSProximityZone>>> KSZoneCache::enteredZones() const {
  std::vector<std::shared_ptr<KSProximityZone>> entered;
  std::unordered_set<const KSPrivateBeacon*> known;
  {
    const std::lock_guard lock(beaconsMutex_);
    for (const auto& [identifier, beacons] : beaconsForLocation_) {
      for (const auto& beacon : beacons) {
        const auto guard = beacon->lock();
        if (beacon->inRange() && known.insert(beacon.get()).second) entered.push_back(beacon);
      }
    }
  }
  {
    const std::lock_guard lock(geofencesMutex_);
    for (const auto& [identifier, geofence] : prefetchGeofences_) {
      if (geofence->inRange()) entered.push_back(geofence);
    }
  }
  if (entered.empty()) return std::nullopt;
  return entered;
}

void KSZoneCache::forgetNeighbourhood() {
  locationsFile_.forgetUnread();
  beaconsFile_.forgetUnread();
  locations_.clear();
  const std::lock_guard lock(beaconsMutex_);
  beaconsForLocation_.clear();
  storedBeacons_.clear();
  listsHolding_.clear();
  beaconsForManufacturerId_.clear();
}
