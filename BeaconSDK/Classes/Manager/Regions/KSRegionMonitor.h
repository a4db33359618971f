#pragma once

#include <memory>
#include <vector>

#include "BeaconSDK/Classes/Manager/Battery/KSBatteryMonitor.h"
#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneSynchronizer.h"
#include "BeaconSDK/Platform/Api/Error.h"

/// What the monitor works with.
struct KSRegionMonitorContext {
  KSEngineState& state;
  KSLocationAccess& locationAccess;
  KSBatteryMonitor& batteryMonitor;
  KSZoneCache& cache;
  KSDwellingZones& dwelling;
  KSRegionBook& book;
  KSZoneSynchronizer& synchronizer;
};

/// Keeps one circular search region around the device. When the device leaves it, everything known
/// about the old neighbourhood is dropped and a new one is built around the new position.
class KSRegionMonitor {
 public:
  static constexpr const char* kSearchRegionIdentifier = "geoFence";

  explicit KSRegionMonitor(KSRegionMonitorContext context) : context_(context) {}

  /// Makes the location manager unless there is one, and begins a new table of battery levels. A
  /// circle still monitored from an earlier run becomes the search region, the last one if several.
  void initializeLocationManager(ks::CLLocationManagerDelegate& delegate);

  /// A search region around the current location, not monitored yet; null without a location.
  std::shared_ptr<ks::CLCircularRegion> createGeofenceandMonitor() const;
  /// Begins a neighbourhood: monitors a search region if there is none and fetches the locations
  /// around it; otherwise ends the old neighbourhood first.
  void startLookingForNewGeoFence();
  void createNewGeofence();
  /// Drops what is known about the neighbourhood. The engine counts as stopped until the next
  /// start; geofences and monitored regions stay.
  void resetGeoFencing();
  void clearAllBeaconRegions();
  /// Stops all monitoring for good and forgets the search region; nothing is reported any more.
  void endMonitoring();
  /// Forgets beacons, locations and the refresh date, ends dwelling, and saves the emptied caches.
  void forgetNeighbourhood();

  void didUpdateLocations(const std::vector<ks::CLLocation>& locations);
  /// Asks for the state of a new geofence: a device already inside crosses no border.
  void didStartMonitoringForRegion(const ks::CLRegion& region);
  static void monitoringDidFailForRegion(const ks::Error& error);
  static void didFailWithError(const ks::Error& error);

 private:
  KSRegionMonitorContext context_;
  std::shared_ptr<const ks::CLCircularRegion> circularRegion_;
};
