#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSPortalRefresh.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

/// Merges portal data into the caches and keeps run-time state. Main queue only.
class KSZoneSynchronizer {
 public:
  KSZoneSynchronizer(const KSManagerLink& link, KSEngineState& state, KSZoneCache& cache,
                     KSRegionBook& book, KSProximityTracker& tracker,
                     KSRegionMonitor& regionMonitor, KSPortalRefresh& refresh,
                     const KSContentRequests& contentRequests, const ks::Refinements& refinements,
                     const ks::Clock& clock)
      : link_(link),
        state_(state),
        cache_(cache),
        book_(book),
        tracker_(tracker),
        regionMonitor_(regionMonitor),
        refresh_(refresh),
        contentRequests_(contentRequests),
        refinements_(refinements),
        clock_(clock) {}

  /// Replaces the location list. Ignored when the device cannot monitor regions or the permission
  /// was withdrawn.
  void addLoadedLocations(ks::LocationList loaded);
  /// Replaces the zones of one location, which need not be in the list.
  void replaceBeaconsForLocation(const std::string& identifier,
                                 const ks::PrivateBeaconList& beacons);
  /// Stores the content of given beacons, and immediately evaluates those in range with it.
  void newBeaconsFetched(const ks::PrivateBeaconList& beacons);
  /// Stores geofences and monitors them. Those that the portal no longer sends stay.
  void updateGeofences(const std::vector<std::shared_ptr<KSGeofence>>& geofences);

 private:
  /// Those of `earlier` that the book drops before it takes `beacons`.
  ks::PrivateBeaconList leavingTheBook(const ks::PrivateBeaconList& earlier,
                                       const ks::PrivateBeaconList& beacons) const;
  /// With `exactStays`, passes the stay on to the geofence; true when its circle is another.
  bool takePlace(KSGeofence& geofence) const;

  const KSManagerLink& link_;
  KSEngineState& state_;
  KSZoneCache& cache_;
  KSRegionBook& book_;
  KSProximityTracker& tracker_;
  KSRegionMonitor& regionMonitor_;
  KSPortalRefresh& refresh_;
  const KSContentRequests& contentRequests_;
  const ks::Refinements& refinements_;
  const ks::Clock& clock_;
};
