#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"

#include <string>

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

}  // namespace

void KSRegionMonitor::initializeLocationManager(ks::CLLocationManagerDelegate& delegate) {
  constexpr const char* kFunction = "-[KSProximityManager initializeLocationManager]";
  if (!context_.locationAccess.exists()) context_.locationAccess.create(delegate);
  const auto regions = context_.locationAccess.monitoredRegions();
  kManagerLog(kFunction, "Location manager monitored regions at startup");
  if (enableLogging) kManagerLog(kFunction, "%@", setOf(regions));
  context_.batteryMonitor.create();
  for (const auto& region : regions) {
    if (auto circle = ks::asCircularRegion(region)) circularRegion_ = std::move(circle);
  }
}

std::shared_ptr<ks::CLCircularRegion> KSRegionMonitor::createGeofenceandMonitor() const {
  const auto& location = context_.locationAccess.currentLocation();
  if (!location) return nullptr;
  const auto& center = location->coordinate;
  if (enableLogging) {
    kManagerLog("-[KSProximityManager createGeofenceandMonitor]",
                "New CircularRegion Region Monitoring %@",
                ks::stringWithFormat("%f/%f", center.latitude, center.longitude));
  }
  return std::make_shared<ks::CLCircularRegion>(center, kSearchRadius, kSearchRegionIdentifier);
}

void KSRegionMonitor::startLookingForNewGeoFence() {
  if (circularRegion_) {
    createNewGeofence();
    return;
  }
  if (const auto region = createGeofenceandMonitor()) {
    region->setNotifyOnExit(true);
    circularRegion_ = region;
    context_.locationAccess.startMonitoring(region);
  }
  context_.synchronizer.refreshLocations();
}

void KSRegionMonitor::createNewGeofence() {
  if (circularRegion_) context_.locationAccess.stopMonitoring(*circularRegion_);
  circularRegion_ = nullptr;
  resetGeoFencing();
  startLookingForNewGeoFence();
}

void KSRegionMonitor::resetGeoFencing() {
  for (const auto& region : context_.locationAccess.monitoredRegions()) {
    if (const auto beaconRegion = ks::asBeaconRegion(region)) {
      context_.locationAccess.stopRanging(*beaconRegion);
    }
  }
  forgetNeighbourhood();
  kManagerLog("-[KSProximityManager resetGeoFencing]",
              "Reset all the Beacons in new Geofencing Location");
}

void KSRegionMonitor::forgetNeighbourhood() {
  context_.book.clear();
  context_.dwelling.stopAll();
  context_.cache.forgetNeighbourhood();
  context_.state.started = false;
  context_.cache.saveBeaconsForLocation();
  context_.cache.saveLocations();
  context_.state.setLastLocationsRefreshDate(std::nullopt);
}

void KSRegionMonitor::clearAllBeaconRegions() {
  kManagerLog("-[KSProximityManager clearAllBeaconRegions]", "Clear all beacon regions");
  for (const auto& region : context_.locationAccess.monitoredRegions()) {
    if (ks::asBeaconRegion(region)) context_.locationAccess.stopMonitoring(*region);
  }
}

void KSRegionMonitor::endMonitoring() {
  context_.locationAccess.clearDelegate();
  context_.locationAccess.stopMonitoringSignificantLocationChanges();
  circularRegion_ = nullptr;
  for (const auto& region : context_.locationAccess.monitoredRegions()) {
    if (const auto beaconRegion = ks::asBeaconRegion(region)) {
      context_.locationAccess.stopRanging(*beaconRegion);
    }
    context_.locationAccess.stopMonitoring(*region);
  }
}

void KSRegionMonitor::didUpdateLocations(const std::vector<ks::CLLocation>& locations) {
  if (locations.empty()) return;
  const ks::CLLocation& newest = locations.back();
  context_.locationAccess.setCurrentLocation(newest);
  if (enableLogging) {
    kManagerLog("-[KSProximityManager locationManager:didUpdateLocations:]",
                "currentLocation updated to %@", newest.description());
  }
  if (!circularRegion_ || !circularRegion_->containsCoordinate(newest.coordinate)) {
    startLookingForNewGeoFence();
  } else if (context_.cache.locations().empty()) {
    context_.synchronizer.refreshLocations();
  }
}

void KSRegionMonitor::didStartMonitoringForRegion(const ks::CLRegion& region) {
  if (context_.cache.geofenceForRegion(region.identifier())) {
    context_.locationAccess.requestState(region);
  }
}

void KSRegionMonitor::monitoringDidFailForRegion(const ks::Error& error) {
  kManagerLog("-[KSProximityManager locationManager:monitoringDidFailForRegion:withError:]", "%@",
              error);
}

void KSRegionMonitor::didFailWithError(const ks::Error& error) {
  kManagerLog("-[KSProximityManager locationManager:didFailWithError:]", "%@", error);
}
