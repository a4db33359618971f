#pragma once

#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSPortalRefresh.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSDwellingZones.h"
#include "BeaconSDK/Classes/Manager/Triggers/KSStays.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

/// The neighbourhood of the device: everything within one search region. When the device leaves the
/// region, the old neighbourhood is dropped and a new one begins at the new position. The only
/// writer of the current location.
class KSNeighbourhood {
 public:
  KSNeighbourhood(KSEngineState& state, KSLocationAccess& locationAccess,
                  KSRegionMonitor& regionMonitor, KSPortalRefresh& refresh, KSRegionBook& book,
                  KSDwellingZones& dwelling, KSZoneCache& cache, KSStays& stays)
      : state_(state),
        locationAccess_(locationAccess),
        regionMonitor_(regionMonitor),
        refresh_(refresh),
        book_(book),
        dwelling_(dwelling),
        cache_(cache),
        stays_(stays) {}

  void didUpdateLocations(const std::vector<ks::CLLocation>& locations);
  /// Handles the state of a circle that is no geofence. Ignores circles other than the search
  /// region.
  void didDetermineState(ks::CLRegionState state, const ks::CLRegion& region);

  /// Begins a neighbourhood: monitors a search region if there is none and fetches the locations
  /// around it; otherwise ends the old neighbourhood first.
  void startLookingForNewGeoFence();
  void createNewGeofence();
  /// Drops the neighbourhood. The engine counts as stopped until the next start; geofences and
  /// monitored regions stay.
  void resetGeoFencing();
  /// Drops beacons, locations and the refresh date, ends dwelling, and saves the emptied caches.
  void forget();

 private:
  KSEngineState& state_;
  KSLocationAccess& locationAccess_;
  KSRegionMonitor& regionMonitor_;
  KSPortalRefresh& refresh_;
  KSRegionBook& book_;
  KSDwellingZones& dwelling_;
  KSZoneCache& cache_;
  KSStays& stays_;
};
