#pragma once

#include <memory>

#include "BeaconSDK/Classes/Manager/Engine/KSNeighbourhood.h"
#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"

/// Handles crossings of monitored regions: starts and ends ranging, closes the stays of a left
/// region's beacons, counts entries and exits of geofences, and passes events that may fire content
/// to the trigger.
///
/// The location service may report a region's state before or after its crossing; both orders work.
class KSRegionEvents {
 public:
  KSRegionEvents(KSZoneCache& cache, const KSRegionBook& book, KSProximityTracker& tracker,
                 KSContentTrigger& trigger, KSStays& stays, KSNeighbourhood& neighbourhood,
                 const ks::Refinements& refinements)
      : cache_(cache),
        book_(book),
        tracker_(tracker),
        trigger_(trigger),
        stays_(stays),
        neighbourhood_(neighbourhood),
        refinements_(refinements) {}

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
  void geofenceLeft(const std::shared_ptr<KSGeofence>& geofence);
  void endStay(const std::shared_ptr<KSGeofence>& geofence);
  /// Counts the event and evaluates the trigger, if the content's category is enabled.
  void countAndCheck(const std::shared_ptr<KSProximityZone>& zone, bool isEnter);

  KSZoneCache& cache_;
  const KSRegionBook& book_;
  KSProximityTracker& tracker_;
  KSContentTrigger& trigger_;
  KSStays& stays_;
  KSNeighbourhood& neighbourhood_;
  const ks::Refinements& refinements_;
};
