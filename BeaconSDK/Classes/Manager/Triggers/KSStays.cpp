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
  if (set(keyOf(*beacon), beacon)) statistics_.beaconEntered(*beacon);
}

void KSStays::begin(const std::shared_ptr<KSGeofence>& geofence) {
  if (set(keyOf(*geofence), geofence)) statistics_.geofenceEntered(*geofence);
  geofence->setSentEnterEvent(true);
}

void KSStays::end(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  beacon->setSentEnterEvent(false);
  if (erase(keyOf(*beacon))) statistics_.beaconLeft(*beacon);
  tellEnd(beacon, beacon->lastSeenOn() ? beacon->lastSeenOn() : beacon->inProximitySince());
}

void KSStays::end(const std::shared_ptr<KSGeofence>& geofence) {
  if (erase(keyOf(*geofence))) statistics_.geofenceLeft(*geofence);
  tellEnd(geofence, geofence->inRangeSince());
  geofence->setSentEnterEvent(false);
}

void KSStays::tellEnd(const Zone& zone, const std::optional<ks::Date>& lastSeen) const {
  const auto observer = observer_.get();
  if (!observer || !refinements_.exactStays) return;
  const ks::Date now = clock_.now();
  observer->stayEnded({zone, clock_.wallTime(lastSeen.value_or(now)), clock_.wallTime(now)});
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

void KSStays::setCounts(bool counts) {
  counts_ = counts;
  if (counts) return;
  for (const auto& [key, zone] : std::exchange(stays_, {})) uncounted_.insert(key);
  file_.saveSoon();
}

bool KSStays::set(const std::string& key, Zone zone) {
  if (!counts_) uncounted_.insert(key);
  if (uncounted_.contains(key)) return false;
  stays_[key] = std::move(zone);
  file_.saveSoon();
  return true;
}

bool KSStays::erase(const std::string& key) {
  if (uncounted_.erase(key) > 0) return false;
  stays_.erase(key);
  file_.saveSoon();
  return true;
}

ks::Value KSStays::zonesToStore() const {
  ks::Array zones;
  for (const auto& [key, zone] : stays_) zones.items.emplace_back(zone);
  return zones;
}
