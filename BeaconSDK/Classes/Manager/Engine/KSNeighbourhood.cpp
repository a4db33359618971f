#include "BeaconSDK/Classes/Manager/Engine/KSNeighbourhood.h"

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

void KSNeighbourhood::didUpdateLocations(const std::vector<ks::CLLocation>& locations) {
  if (locations.empty()) return;
  const ks::CLLocation& newest = locations.back();
  locationAccess_.setCurrentLocation(newest);
  if (enableLogging) {
    kManagerLog("-[KSProximityManager locationManager:didUpdateLocations:]",
                "currentLocation updated to %@", newest.description());
  }
  const auto& searchRegion = regionMonitor_.searchRegion();
  // A position may show that the region was left before its exit is reported.
  if (!searchRegion || !searchRegion->containsCoordinate(newest.coordinate)) {
    startLookingForNewGeoFence();
  } else if (cache_.locations().empty()) {
    refresh_.refreshLocations();
  }
}

void KSNeighbourhood::didDetermineState(ks::CLRegionState state, const ks::CLRegion& region) {
  constexpr const char* kFunction =
      "-[KSProximityManager locationManager:didDetermineState:forRegion:]";
  if (!regionMonitor_.isSearchRegion(region)) {
    kManagerLog(kFunction, "Unknown circle %@ changes nothing", region.identifier());
    return;
  }
  if (state == ks::CLRegionState::outside) {
    // An exit comes without a position; the service's own is the newest there is.
    locationAccess_.setCurrentLocation(locationAccess_.serviceLocation());
    kManagerLog(kFunction, "Exiting CircularRegion");
    startLookingForNewGeoFence();
  }
  kManagerLog(kFunction, "didDetermineState CircularRegion");
}

void KSNeighbourhood::startLookingForNewGeoFence() {
  if (regionMonitor_.searchRegion()) {
    createNewGeofence();
    return;
  }
  regionMonitor_.startSearchRegion();
  refresh_.refreshLocations();
}

void KSNeighbourhood::createNewGeofence() {
  regionMonitor_.stopSearchRegion();
  resetGeoFencing();
  startLookingForNewGeoFence();
}

void KSNeighbourhood::resetGeoFencing() {
  regionMonitor_.stopRangingBeacons();
  forget();
  kManagerLog("-[KSProximityManager resetGeoFencing]",
              "Reset all the Beacons in new Geofencing Location");
}

void KSNeighbourhood::forget() {
  // Stays end before the book and the cache drop their beacons.
  stays_.forgetBeacons();
  book_.clear();
  dwelling_.stopAll();
  cache_.forgetNeighbourhood();
  state_.started = false;
  cache_.saveBeaconsForLocation();
  cache_.saveLocations();
  state_.setLastLocationsRefreshDate(std::nullopt);
}
