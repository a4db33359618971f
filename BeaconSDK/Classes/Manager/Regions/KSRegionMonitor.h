#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <memory>
#include <string>
#include <unordered_set>

#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

/// Starts and stops the monitoring of regions: one circular search region around the device, the
/// geofences, and one beacon region per UUID.
class KSRegionMonitor {
 public:
  using UUIDSet = boost::unordered_flat_set<ks::UUID, std::hash<ks::UUID>>;

  static constexpr const char* kSearchRegionIdentifier = "geoFence";

  KSRegionMonitor(KSLocationAccess& locationAccess, const KSZoneCache& cache)
      : locationAccess_(locationAccess), cache_(cache) {}

  /// Creates the location manager unless there is one. A circle still monitored from an earlier run
  /// becomes the search region: the one that is named so, else the last one.
  void initializeLocationManager();
  /// Stops all monitoring permanently and drops the search region; reports nothing any more.
  void endMonitoring();

  /// A search region around the current location, not monitored yet; null without a location.
  std::shared_ptr<ks::CLCircularRegion> createGeofenceandMonitor() const;
  /// Null while none is monitored.
  const std::shared_ptr<const ks::CLCircularRegion>& searchRegion() const {
    return circularRegion_;
  }
  bool isSearchRegion(const ks::CLRegion& region) const;
  /// The identifiers of all regions that the device monitors.
  std::unordered_set<std::string> monitoredIdentifiers() const;
  /// Monitors a search region around the current location; does nothing without one.
  void startSearchRegion();
  void stopSearchRegion();
  /// Stops the search region, unless a geofence uses its region.
  void forgetPosition();

  /// Monitors and ranges one region for each UUID of `beacons`, and stops beacon regions whose UUID
  /// none of them has.
  void adjustBeaconRegions(const ks::PrivateBeaconList& beacons);
  /// Stops ranging in all beacon regions, which stay monitored.
  void stopRangingBeacons();
  void clearAllBeaconRegions();
  /// True when no monitored beacon region has the beacon's UUID.
  static bool checkForBeaconToAddMonitoring(const KSPrivateBeacon& beacon,
                                            const UUIDSet& monitored);
  /// True for a beacon region whose UUID no beacon has; false for every other region.
  static bool checkForRegionToStopMonitoring(const ks::CLRegion& region, const UUIDSet& inBeacons);

  bool mayMonitorRegions() const { return locationAccess_.mayMonitorRegions(); }
  /// Monitors the geofence's region, which must not be null.
  void monitorGeofence(const KSGeofence& geofence);
  /// Requests the state of a new geofence: a device already inside crosses no border.
  void didStartMonitoringForRegion(const ks::CLRegion& region);
  static void monitoringDidFailForRegion(const ks::Error& error);
  static void didFailWithError(const ks::Error& error);

 private:
  void startBeaconRegion(const KSPrivateBeacon& beacon);

  KSLocationAccess& locationAccess_;
  const KSZoneCache& cache_;
  std::shared_ptr<const ks::CLCircularRegion> circularRegion_;
};
