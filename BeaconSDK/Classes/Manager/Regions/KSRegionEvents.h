#pragma once

#include <memory>

#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

/// What the events need beside the tracker and the region monitor.
struct KSRegionEventsContext {
  KSLocationAccess& locationAccess;
  KSZoneCache& cache;
  KSRegionBook& book;
  KSDwellingZones& dwelling;
  KSContentTrigger& trigger;
  KSProximityTracker& tracker;
  KSRegionMonitor& regionMonitor;
  const KSStatsManager& statsManager;
  const KSSettingsManager& settingsManager;
  const KSBatteryMonitor& batteryMonitor;
};

/// Reacts to the borders of monitored regions: starts and ends ranging, closes the stays of a left
/// region's beacons, counts entries and exits of geofences, and hands what could fire content to
/// the trigger.
///
/// The location service may tell a region's state before or after its border was crossed; each is
/// taken as it comes.
class KSRegionEvents {
 public:
  explicit KSRegionEvents(KSRegionEventsContext context) : context_(context) {}

  void didDetermineState(ks::CLRegionState state,
                         const std::shared_ptr<const ks::CLRegion>& region);
  void didEnterRegion(const ks::CLRegion& region);
  void didExitRegion(const ks::CLRegion& region);

 private:
  void beaconRegionEntered(const std::shared_ptr<const ks::CLBeaconRegion>& region);
  void beaconRegionLeft(const ks::CLBeaconRegion& region);
  /// Closes the stay at one beacon of a left region.
  void leaveBeacon(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void endEnteredStay(const std::shared_ptr<KSPrivateBeacon>& beacon);
  void searchRegionDetermined(ks::CLRegionState state);
  void geofenceLeft(const std::shared_ptr<KSGeofence>& geofence);
  /// Counts the event and asks the trigger, if the user wants the content's category.
  void countAndCheck(const std::shared_ptr<KSProximityZone>& zone, bool isEnter);
  void endDwelling(const KSProximityZone& zone);

  KSRegionEventsContext context_;
};
