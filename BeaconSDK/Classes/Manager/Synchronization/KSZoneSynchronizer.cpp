#include "BeaconSDK/Classes/Manager/Synchronization/KSZoneSynchronizer.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSArray+Helpers.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerNotifications.h"

namespace {

constexpr const char* kReplace = "-[KSProximityManager replaceBeaconsForLocation:withBeacons:]";

/// The zones around the device, whose location is not known. Only with them do the beacon regions
/// change: the zones of a real location lie within what they already cover.
constexpr std::string_view kUnknownLocation = " ";

template <class T>
void trace(const char* function, const char* format, const std::vector<std::shared_ptr<T>>& list) {
  if (!enableLogging) return;
  kManagerLog(function, format,
              ks::Value(ks::Array(std::vector<ks::Value>(list.begin(), list.end()))));
}

bool isSameCircle(const ks::CLCircularRegion& a, const ks::CLCircularRegion& b) {
  return a.center().latitude == b.center().latitude &&
         a.center().longitude == b.center().longitude && a.radius().value == b.radius().value;
}

/// Passes the run-time state of the same content and the sent enter event from the old zones to the
/// new ones.
void inherit(const ks::PrivateBeaconList& beacons, const ks::PrivateBeaconList& earlier) {
  std::unordered_map<std::string_view, const KSPrivateBeacon*> earlierByIdentifier;
  for (const auto& beacon : earlier) {
    if (beacon->identifier()) earlierByIdentifier.emplace(*beacon->identifier(), beacon.get());
  }
  for (const auto& beacon : beacons) {
    if (!beacon->identifier()) continue;
    const auto known = earlierByIdentifier.find(*beacon->identifier());
    if (known == earlierByIdentifier.end()) continue;
    const auto& content = beacon->content();
    const auto& old = known->second->content();
    if (content && old && content->identifier && !content->identifier->empty() &&
        content->identifier == old->identifier) {
      content->updateFromContent(*old);
    }
    beacon->setSentEnterEvent(known->second->sentEnterEvent());
  }
}

}  // namespace

void KSZoneSynchronizer::addLoadedLocations(ks::LocationList loaded) {
  trace("-[KSProximityManager addLoadedLocations:]", "replacing locations with loaded locations %@",
        loaded);
  if (!regionMonitor_.mayMonitorRegions()) return;
  using ks::NSArrayHelpers::arrayByRemovingObjectsOfArray;
  const ks::LocationList earlier = cache_.locations();
  // While the old list is in place, so that the notification can name the location.
  for (const auto& removed : arrayByRemovingObjectsOfArray(earlier, loaded)) {
    if (removed->identifier) replaceBeaconsForLocation(*removed->identifier, {});
  }
  std::unordered_map<std::string_view, const KSLocation*> earlierByIdentifier;
  for (const auto& location : earlier) {
    if (location->identifier) earlierByIdentifier.emplace(*location->identifier, location.get());
  }
  // The portal does not send when this device loaded the zones.
  for (const auto& location : loaded) {
    if (!location->identifier) continue;
    const auto known = earlierByIdentifier.find(*location->identifier);
    if (known != earlierByIdentifier.end()) location->zonesSyncedOn = known->second->zonesSyncedOn;
  }
  cache_.setLocations(std::move(loaded));
  cache_.saveLocations();
  state_.setLastLocationsRefreshDate(clock_.now());
  link_.postOnMainQueue(KSProximityManagerLocationsUpdatedNotification, {});
  refresh_.locationsReplaced();
}

void KSZoneSynchronizer::replaceBeaconsForLocation(const std::string& identifier,
                                                   const ks::PrivateBeaconList& beacons) {
  kManagerLog(kReplace, "Will replace beacons for location %@", identifier);
  trace(kReplace, "New beacons %@", beacons);
  const std::lock_guard lock(cache_.beaconsMutex());
  const ks::PrivateBeaconList earlier = cache_.zonesOfLocation(identifier);
  inherit(beacons, earlier);
  auto kept = book_.replaceBeacons(leavingTheBook(earlier, beacons), beacons);
  if (identifier == kUnknownLocation) regionMonitor_.adjustBeaconRegions(beacons);
  const auto location = cache_.replaceZonesOfLocation(identifier, std::move(kept), clock_.now());
  if (!location) return;
  link_.postOnMainQueue(KSProximityManagerProximityZonesForLocationUpdatedNotification,
                        {{ks::manager_keys::kLocation, location}});
}

void KSZoneSynchronizer::newBeaconsFetched(const ks::PrivateBeaconList& beacons) {
  const auto guard = book_.lock();
  for (const auto& fetched : beacons) {
    const auto zone = book_.addOrReplaceBeaconToBeaconRegions(fetched);
    cache_.admit(zone);
    if (zone->state() == KSPrivateBeaconState::noContent) contentRequests_.tellWithheld(*zone);
    // The device has left by now: the stay begins when the beacon is heard again.
    if (refinements_.exactStays && !tracker_.isRanging(*zone)) continue;
    // The proximity is unknown until the next ranging result.
    tracker_.rangeBeaconWithContent(zone, 0);
  }
}

void KSZoneSynchronizer::updateGeofences(
    const std::vector<std::shared_ptr<KSGeofence>>& geofences) {
  const auto monitored = regionMonitor_.monitoredIdentifiers();
  for (const auto& geofence : geofences) {
    const auto& region = geofence->monitoringRegion();
    if (!region) continue;
    const bool isNew = takePlace(*geofence) || !monitored.contains(region->identifier());
    cache_.setGeofence(geofence);
    // Monitoring the same circle anew would report the device as inside once more.
    if (isNew) regionMonitor_.monitorGeofence(*geofence);
  }
}

bool KSZoneSynchronizer::takePlace(KSGeofence& geofence) const {
  if (!refinements_.exactStays) return true;
  const auto earlier = cache_.geofenceForRegion(geofence.monitoringRegion()->identifier());
  if (!earlier) return true;
  geofence.continueStay(*earlier);
  return !isSameCircle(*earlier->monitoringRegion(), *geofence.monitoringRegion());
}

ks::PrivateBeaconList KSZoneSynchronizer::leavingTheBook(
    const ks::PrivateBeaconList& earlier, const ks::PrivateBeaconList& beacons) const {
  std::unordered_set<std::string> listed;
  if (refinements_.exactStays) {
    for (const auto& beacon : beacons) listed.insert(beacon->key());
  }
  ks::PrivateBeaconList leaving;
  for (const auto& beacon : earlier) {
    // The other list would be left with a twin that no event reaches.
    if (cache_.listsHolding(*beacon) > 1) continue;
    // The object stays, and with it its stay: it takes over what the portal says now, or ends its
    // stay where the device leaves it.
    const bool stays = beacon->sentEnterEvent() || listed.contains(beacon->key());
    if (!refinements_.exactStays || !stays) leaving.push_back(beacon);
  }
  return leaving;
}
