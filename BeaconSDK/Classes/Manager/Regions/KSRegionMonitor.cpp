#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"

#include <string>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

/// The portal answers with what lies within 7 km of a position, so the picture must be rebuilt
/// before the device has gone that far.
constexpr ks::Metres kSearchRadius{6000.0};

/// The regions as "%@" prints them. Only worth making while the trace is on.
ks::Value setOf(const KSLocationAccess::Regions& regions) {
  ks::Set set;
  for (const auto& region : regions) {
    set.items.emplace_back(std::const_pointer_cast<ks::CLRegion>(region));
  }
  return set;
}

/// Beacon regions change only with the beacons around the device, which this function takes in.
constexpr const char* kReplaceBeacons =
    "-[KSProximityManager replaceBeaconsForLocation:withBeacons:]";

}  // namespace

void KSRegionMonitor::initializeLocationManager() {
  constexpr const char* kFunction = "-[KSProximityManager initializeLocationManager]";
  if (!locationAccess_.exists()) locationAccess_.create();
  const auto regions = locationAccess_.monitoredRegions();
  kManagerLog(kFunction, "Location manager monitored regions at startup");
  if (enableLogging) kManagerLog(kFunction, "%@", setOf(regions));
  for (const auto& region : regions) {
    auto circle = ks::asCircularRegion(region);
    if (!circle) continue;
    circularRegion_ = std::move(circle);
    if (region->identifier() == kSearchRegionIdentifier) break;
  }
  if (!locationAccess_.keepsPositions()) forgetPosition();
}

void KSRegionMonitor::endMonitoring() {
  locationAccess_.clearDelegate();
  locationAccess_.stopMonitoringSignificantLocationChanges();
  circularRegion_ = nullptr;
  for (const auto& region : locationAccess_.monitoredRegions()) {
    if (const auto beaconRegion = ks::asBeaconRegion(region)) {
      locationAccess_.stopRanging(*beaconRegion);
    }
    locationAccess_.stopMonitoring(*region);
  }
}

bool KSRegionMonitor::isSearchRegion(const ks::CLRegion& region) const {
  return circularRegion_ ? region.identifier() == circularRegion_->identifier()
                         : region.identifier() == kSearchRegionIdentifier;
}

std::unordered_set<std::string> KSRegionMonitor::monitoredIdentifiers() const {
  std::unordered_set<std::string> identifiers;
  for (const auto& region : locationAccess_.monitoredRegions()) {
    identifiers.insert(region->identifier());
  }
  return identifiers;
}

std::shared_ptr<ks::CLCircularRegion> KSRegionMonitor::createGeofenceandMonitor() const {
  const auto& location = locationAccess_.currentLocation();
  if (!location) return nullptr;
  const auto& center = location->coordinate;
  if (enableLogging) {
    kManagerLog("-[KSProximityManager createGeofenceandMonitor]",
                "New CircularRegion Region Monitoring %@",
                ks::stringWithFormat("%f/%f", center.latitude, center.longitude));
  }
  return std::make_shared<ks::CLCircularRegion>(center, kSearchRadius, kSearchRegionIdentifier);
}

void KSRegionMonitor::startSearchRegion() {
  const auto region = createGeofenceandMonitor();
  if (!region) return;
  region->setNotifyOnExit(true);
  circularRegion_ = region;
  locationAccess_.startMonitoring(region);
}

void KSRegionMonitor::stopSearchRegion() {
  if (circularRegion_) locationAccess_.stopMonitoring(*circularRegion_);
  circularRegion_ = nullptr;
}

void KSRegionMonitor::forgetPosition() {
  const bool isOurs = circularRegion_ && circularRegion_->identifier() == kSearchRegionIdentifier;
  if (isOurs) stopSearchRegion();
}

void KSRegionMonitor::adjustBeaconRegions(const ks::PrivateBeaconList& beacons) {
  const auto regions = locationAccess_.monitoredRegions();
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
    startBeaconRegion(*beacon);
  }
  for (const auto& region : regions) {
    if (!checkForRegionToStopMonitoring(*region, wanted)) continue;
    const auto beaconRegion = ks::asBeaconRegion(region);
    kManagerLog(kReplaceBeacons, "Stop monitoring region: %@", beaconRegion->proximityUUID());
    locationAccess_.stopRanging(*beaconRegion);
    locationAccess_.stopMonitoring(*beaconRegion);
  }
}

void KSRegionMonitor::startBeaconRegion(const KSPrivateBeacon& beacon) {
  const auto region = std::make_shared<ks::CLBeaconRegion>(*beacon.uuid(), beacon.regionKey());
  region->setNotifyEntryStateOnDisplay(true);
  region->setNotifyOnEntry(true);
  region->setNotifyOnExit(true);
  kManagerLog(kReplaceBeacons, "Start monitoring region: %@", beacon.uuid());
  locationAccess_.startMonitoring(region);
  locationAccess_.startRanging(region);
}

bool KSRegionMonitor::checkForBeaconToAddMonitoring(const KSPrivateBeacon& beacon,
                                                    const UUIDSet& monitored) {
  return !beacon.uuid() || !monitored.contains(*beacon.uuid());
}

bool KSRegionMonitor::checkForRegionToStopMonitoring(const ks::CLRegion& region,
                                                     const UUIDSet& inBeacons) {
  const auto* const beaconRegion = dynamic_cast<const ks::CLBeaconRegion*>(&region);
  return beaconRegion != nullptr && !inBeacons.contains(beaconRegion->proximityUUID());
}

void KSRegionMonitor::stopRangingBeacons() {
  for (const auto& region : locationAccess_.monitoredRegions()) {
    if (const auto beaconRegion = ks::asBeaconRegion(region)) {
      locationAccess_.stopRanging(*beaconRegion);
    }
  }
}

void KSRegionMonitor::clearAllBeaconRegions() {
  kManagerLog("-[KSProximityManager clearAllBeaconRegions]", "Clear all beacon regions");
  for (const auto& region : locationAccess_.monitoredRegions()) {
    if (ks::asBeaconRegion(region)) locationAccess_.stopMonitoring(*region);
  }
}

void KSRegionMonitor::monitorGeofence(const KSGeofence& geofence) {
  locationAccess_.startMonitoring(geofence.monitoringRegion());
}

void KSRegionMonitor::didStartMonitoringForRegion(const ks::CLRegion& region) {
  if (cache_.geofenceForRegion(region.identifier())) locationAccess_.requestState(region);
}

void KSRegionMonitor::monitoringDidFailForRegion(const ks::Error& error) {
  kManagerLog("-[KSProximityManager locationManager:monitoringDidFailForRegion:withError:]", "%@",
              error);
}

void KSRegionMonitor::didFailWithError(const ks::Error& error) {
  kManagerLog("-[KSProximityManager locationManager:didFailWithError:]", "%@", error);
}
