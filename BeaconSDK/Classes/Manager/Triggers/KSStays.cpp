#include "BeaconSDK/Classes/Manager/Triggers/KSStays.h"

#include <string_view>
#include <utility>

namespace {

constexpr std::string_view kBeaconPrefix = "beacon ";

}  // namespace

/// The portal's identifier may change during a stay; the radio's does not.
std::string KSStays::keyOf(const KSPrivateBeacon& beacon) {
  return std::string(kBeaconPrefix) +
         KSPrivateBeacon::keyFromIdentifier("", beacon.uuid(), beacon.minor(), beacon.major());
}

std::string KSStays::keyOf(const KSGeofence& geofence) {
  return "geofence " + geofence.identifier().value_or("");
}

void KSStays::begin(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  beacon->setSentEnterEvent(true);
  statistics_.beaconEntered(*beacon);
  set(keyOf(*beacon), beacon);
}

void KSStays::begin(const std::shared_ptr<KSGeofence>& geofence) {
  statistics_.geofenceEntered(*geofence);
  geofence->setSentEnterEvent(true);
  set(keyOf(*geofence), geofence);
}

void KSStays::end(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  beacon->setSentEnterEvent(false);
  statistics_.beaconLeft(*beacon);
  tellEnd(beacon, beacon->lastSeenOn() ? beacon->lastSeenOn() : beacon->inProximitySince());
  erase(keyOf(*beacon));
}

void KSStays::end(const std::shared_ptr<KSGeofence>& geofence) {
  statistics_.geofenceLeft(*geofence);
  tellEnd(geofence, geofence->inRangeSince());
  geofence->setSentEnterEvent(false);
  erase(keyOf(*geofence));
}

void KSStays::tellEnd(const Zone& zone, const std::optional<ks::Date>& lastSeen) const {
  const auto observer = observer_.get();
  if (!observer || !refinements_.exactStays) return;
  const ks::Date now = clock_.now();
  observer->stayEnded({zone, lastSeen.value_or(now), now});
}

void KSStays::forgetBeacons() {
  if (refinements_.exactStays) {
    for (const auto& [key, zone] : std::map(stays_)) {
      if (const auto beacon = std::dynamic_pointer_cast<KSPrivateBeacon>(zone)) end(beacon);
    }
  }
  std::erase_if(stays_, [](const auto& stay) { return stay.first.starts_with(kBeaconPrefix); });
  if (const auto observer = observer_.get()) observer->neighbourhoodForgotten();
  file_.saveSoon();
}

void KSStays::forgetAll() {
  forgetBeacons();
  stays_.clear();
  file_.saveSoon();
}

KSStays::Stored KSStays::load() {
  file_.load();
  return std::exchange(restored_, {});
}

void KSStays::restore(const ks::Value& stored) {
  const ks::Array* const zones = stored.array();
  if (zones == nullptr) return;
  restored_.isPresent = true;
  for (const ks::Value& item : zones->items) {
    if (auto beacon = item.objectOf<KSPrivateBeacon>()) {
      beacon->setSentEnterEvent(true);
      stays_.try_emplace(keyOf(*beacon), beacon);
      restored_.beacons.push_back(std::move(beacon));
    } else if (auto geofence = item.objectOf<KSGeofence>()) {
      geofence->setSentEnterEvent(true);
      stays_.try_emplace(keyOf(*geofence), geofence);
      restored_.geofences.push_back(std::move(geofence));
    }
  }
}

void KSStays::set(const std::string& key, Zone zone) {
  stays_[key] = std::move(zone);
  file_.saveSoon();
}

void KSStays::erase(const std::string& key) {
  stays_.erase(key);
  file_.saveSoon();
}

ks::Value KSStays::zonesToStore() const {
  ks::Array zones;
  for (const auto& [key, zone] : stays_) zones.items.emplace_back(zone);
  return zones;
}
