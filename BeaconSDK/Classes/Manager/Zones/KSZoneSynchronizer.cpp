#include "BeaconSDK/Classes/Manager/Zones/KSZoneSynchronizer.h"

#include <unordered_map>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSArray+Helpers.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerNotifications.h"
#include "BeaconSDK/Platform/Api/Platform.h"

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

bool mayReplaceLocations() {
  auto& services = ks::Platform::current().locationServices();
  if (!services.isMonitoringAvailableForCircularRegions()) return false;
  if (!services.isMonitoringAvailableForBeaconRegions()) return false;
  const auto status = services.authorizationStatus();
  return status == ks::CLAuthorizationStatus::authorizedAlways ||
         status == ks::CLAuthorizationStatus::notDetermined;
}

}  // namespace

void KSZoneSynchronizer::refreshLocations() {
  const auto& location = context_.locationAccess.currentLocation();
  if (location) refreshLocationsWithLocation(location);
}

void KSZoneSynchronizer::refreshLocationsWithoutLocation() {
  refreshLocationsWithLocation(std::nullopt);
}

void KSZoneSynchronizer::refreshLocationsWithLocation(
    const std::optional<ks::CLLocation>& location) {
  kManagerLog("-[KSProximityManager refreshLocationsWithLocation:andTimer:]",
              "Will refresh locations");
  context_.network->loadLocations(location);
  restartRefreshTimer();
}

void KSZoneSynchronizer::restartRefreshTimer() {
  invalidateRefreshTimer();
  scheduleRefreshTimer(kLocationsRefreshInterval);
}

void KSZoneSynchronizer::scheduleRefreshBesideEarlier(ks::Seconds delay) {
  if (refreshLocationsTimer_) forgottenTimers_.push_back(std::move(refreshLocationsTimer_));
  std::erase_if(forgottenTimers_, [](const auto& timer) { return !timer->isScheduled(); });
  scheduleRefreshTimer(delay);
}

void KSZoneSynchronizer::scheduleRefreshTimer(ks::Seconds delay) {
  refreshLocationsTimer_ = std::make_unique<ks::Alarm>(ks::AlarmName::refreshLocations);
  refreshLocationsTimer_->schedule(delay, [this] { refreshLocations(); });
}

KSZoneCheck KSZoneSynchronizer::makeZoneCheck() const {
  return {context_.cache.locations(), context_.network, context_.settingsManager};
}

void KSZoneSynchronizer::addLoadedLocations(KSLocationList loaded) {
  trace("-[KSProximityManager addLoadedLocations:]", "replacing locations with loaded locations %@",
        loaded);
  if (!mayReplaceLocations()) return;
  using ks::NSArrayHelpers::arrayByRemovingObjectsOfArray;
  const KSLocationList earlier = context_.cache.locations();
  for (const auto& removed : arrayByRemovingObjectsOfArray(earlier, loaded)) {
    if (removed->identifier) replaceBeaconsForLocation(*removed->identifier, {});
  }
  std::unordered_map<std::string_view, const KSLocation*> earlierByIdentifier;
  for (const auto& location : earlier) {
    if (location->identifier) earlierByIdentifier.emplace(*location->identifier, location.get());
  }
  for (const auto& location : loaded) {
    if (!location->identifier) continue;
    const auto known = earlierByIdentifier.find(*location->identifier);
    if (known != earlierByIdentifier.end()) location->zonesSyncedOn = known->second->zonesSyncedOn;
  }
  context_.cache.setLocations(std::move(loaded));
  context_.cache.saveLocations();
  context_.state.setLastLocationsRefreshDate(ks::Platform::current().clock().now());
  restartRefreshTimer();
  context_.link.postOnMainQueue(KSProximityManagerLocationsUpdatedNotification, {});
  checkIfProximityZonesNeedRefreshing();
}

void KSZoneSynchronizer::replaceBeaconsForLocation(const std::string& identifier,
                                                   const KSBeaconList& beacons) {
  kManagerLog(kReplace, "Will replace beacons for location %@", identifier);
  trace(kReplace, "New beacons %@", beacons);
  const std::lock_guard lock(context_.cache.beaconsMutex());
  const KSBeaconList* const held = context_.cache.beaconsForLocation().find(identifier);
  const KSBeaconList earlier = held == nullptr ? KSBeaconList{} : *held;

  inherit(beacons, earlier);
  for (const auto& beacon : earlier) context_.book.removeBeaconFromBeaconRegions(*beacon);
  // A beacon that was ranged before it was listed keeps its object, and with it its run-time state.
  KSBeaconList kept;
  kept.reserve(beacons.size());
  for (const auto& beacon : beacons) {
    kept.push_back(context_.book.addOrReplaceBeaconToBeaconRegions(beacon));
    context_.cache.fileByManufacturer(kept.back());
  }
  if (identifier == kUnknownLocation) adjustBeaconRegions(beacons);
  // After the new zones were filed: a beacon that keeps its manufacturer identifier is filed again
  // only with its next content.
  for (const auto& beacon : earlier) context_.cache.removeManufacturerOf(*beacon);
  context_.cache.beaconsForLocation().set(identifier, std::move(kept));
  context_.cache.saveBeaconsForLocation();
  noteZonesSynced(identifier);
}

void KSZoneSynchronizer::inherit(const KSBeaconList& beacons, const KSBeaconList& earlier) {
  std::unordered_map<std::string_view, const KSPrivateBeacon*> earlierByIdentifier;
  for (const auto& beacon : earlier) {
    if (beacon->identifier()) earlierByIdentifier.emplace(*beacon->identifier(), beacon.get());
  }
  for (const auto& beacon : beacons) {
    const auto& content = beacon->content();
    const auto known = beacon->identifier() ? earlierByIdentifier.find(*beacon->identifier())
                                            : earlierByIdentifier.end();
    if (known != earlierByIdentifier.end()) {
      const auto& old = known->second->content();
      if (content && old && content->identifier && !content->identifier->empty() &&
          content->identifier == old->identifier) {
        content->updateFromContent(*old);
      }
      beacon->setSentEnterEvent(known->second->sentEnterEvent());
    }
    context_.blockedContents.applyTo(content.get());
    context_.cache.fileByManufacturer(beacon);
  }
}

void KSZoneSynchronizer::adjustBeaconRegions(const KSBeaconList& beacons) {
  const auto regions = context_.locationAccess.monitoredRegions();
  UUIDSet monitored;
  for (const auto& region : regions) {
    const auto beaconRegion = ks::asBeaconRegion(region);
    if (beaconRegion) monitored.insert(beaconRegion->proximityUUID());
  }
  UUIDSet wanted;
  for (const auto& beacon : beacons) {
    if (!beacon->uuid()) continue;
    wanted.insert(*beacon->uuid());
    if (!checkForBeaconToAddMonitoring(*beacon, monitored)) continue;
    monitored.insert(*beacon->uuid());
    const auto region = std::make_shared<ks::CLBeaconRegion>(*beacon->uuid(), beacon->regionKey());
    region->setNotifyEntryStateOnDisplay(true);
    region->setNotifyOnEntry(true);
    region->setNotifyOnExit(true);
    kManagerLog(kReplace, "Start monitoring region: %@", beacon->uuid());
    context_.locationAccess.startMonitoring(region);
    context_.locationAccess.startRanging(region);
  }
  for (const auto& region : regions) {
    if (!checkForRegionToStopMonitoring(*region, wanted)) continue;
    const auto beaconRegion = ks::asBeaconRegion(region);
    kManagerLog(kReplace, "Stop monitoring region: %@", beaconRegion->proximityUUID());
    context_.locationAccess.stopRanging(*beaconRegion);
    context_.locationAccess.stopMonitoring(*beaconRegion);
  }
}

bool KSZoneSynchronizer::checkForBeaconToAddMonitoring(const KSPrivateBeacon& beacon,
                                                       const UUIDSet& monitored) {
  return !beacon.uuid() || !monitored.contains(*beacon.uuid());
}

bool KSZoneSynchronizer::checkForRegionToStopMonitoring(const ks::CLRegion& region,
                                                        const UUIDSet& inBeacons) {
  const auto* const beaconRegion = dynamic_cast<const ks::CLBeaconRegion*>(&region);
  return beaconRegion != nullptr && !inBeacons.contains(beaconRegion->proximityUUID());
}

void KSZoneSynchronizer::noteZonesSynced(const std::string& identifier) {
  const auto location = context_.cache.locationWithIdentifier(identifier);
  if (!location) return;
  location->zonesSyncedOn = ks::Platform::current().clock().now();
  context_.cache.saveLocations();
  context_.link.postOnMainQueue(KSProximityManagerProximityZonesForLocationUpdatedNotification,
                                {{ks::manager_keys::kLocation, location}});
}

void KSZoneSynchronizer::newBeaconsFetched(const KSBeaconList& beacons) {
  const auto guard = context_.book.lock();
  for (const auto& fetched : beacons) {
    const auto zone = context_.book.addOrReplaceBeaconToBeaconRegions(fetched);
    context_.blockedContents.applyTo(zone->content().get());
    context_.cache.fileByManufacturer(zone);
    context_.tracker.rangeBeaconWithContent(zone, 0);
  }
}

void KSZoneSynchronizer::updateGeofences(
    const std::vector<std::shared_ptr<KSGeofence>>& geofences) {
  for (const auto& geofence : geofences) {
    const auto& region = geofence->monitoringRegion();
    if (!region) continue;
    context_.blockedContents.applyTo(geofence->content().get());
    {
      const std::lock_guard lock(context_.cache.geofencesMutex());
      context_.cache.prefetchGeofences().set(region->identifier(), geofence);
    }
    context_.locationAccess.startMonitoring(region);
  }
}
