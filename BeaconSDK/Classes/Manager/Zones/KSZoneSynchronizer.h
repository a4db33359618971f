#pragma once

#include <boost/unordered/unordered_flat_set.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Classes/Manager/Common/KSEngineState.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLink.h"
#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"
#include "BeaconSDK/Classes/Manager/Regions/KSRegionBook.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCheck.h"

/// What the synchronizer works with.
struct KSZoneSynchronizerContext {
  const KSManagerLink& link;
  KSEngineState& state;
  KSLocationAccess& locationAccess;
  const KSBlockedContents& blockedContents;
  KSZoneCache& cache;
  KSRegionBook& book;
  KSProximityTracker& tracker;
  std::shared_ptr<KSNetwork> network;
  const KSSettingsManager& settingsManager;
};

/// Asks the portal for locations and zones when they are due, and merges what arrives into the
/// caches so that run-time state survives. Main queue only.
class KSZoneSynchronizer {
 public:
  using UUIDSet = boost::unordered_flat_set<ks::UUID, std::hash<ks::UUID>>;

  /// The location list is fetched anew after this time.
  static constexpr ks::Seconds kLocationsRefreshInterval{3600.0};

  explicit KSZoneSynchronizer(KSZoneSynchronizerContext context) : context_(std::move(context)) {}

  /// Fetches the locations around the current position; without one, nothing.
  void refreshLocations();
  void refreshLocationsWithoutLocation();
  void refreshLocationsWithLocation(const std::optional<ks::CLLocation>& location);
  /// Makes the refresh timer wait for `delay`. An earlier timer is left to fire once more: it is
  /// forgotten, not invalidated.
  void scheduleRefreshBesideEarlier(ks::Seconds delay);
  void invalidateRefreshTimer() { refreshLocationsTimer_.reset(); }

  /// Asks for the zones of every location whose refresh interval has passed; true when there was
  /// one.
  bool checkIfProximityZonesNeedRefreshing() { return makeZoneCheck().run(); }
  /// The same check, to be run on another queue.
  KSZoneCheck makeZoneCheck() const;

  /// Replaces the location list. Ignored when the device cannot monitor regions or the permission
  /// was taken away.
  void addLoadedLocations(KSLocationList loaded);
  /// Replaces the zones of one location, which need not be in the list.
  void replaceBeaconsForLocation(const std::string& identifier, const KSBeaconList& beacons);
  /// Takes over the content of given beacons, and evaluates those in range with it at once.
  void newBeaconsFetched(const KSBeaconList& beacons);
  /// Takes over geofences and monitors them. Those that the portal no longer sends stay.
  void updateGeofences(const std::vector<std::shared_ptr<KSGeofence>>& geofences);

  /// True when no monitored beacon region has the beacon's UUID.
  static bool checkForBeaconToAddMonitoring(const KSPrivateBeacon& beacon,
                                            const UUIDSet& monitored);
  /// True for a beacon region whose UUID no beacon has; false for every other region.
  static bool checkForRegionToStopMonitoring(const ks::CLRegion& region, const UUIDSet& inBeacons);

 private:
  void restartRefreshTimer();
  void scheduleRefreshTimer(ks::Seconds delay);
  /// Trigger state, the sent enter event and blocks pass from the old zones to the new ones.
  void inherit(const KSBeaconList& beacons, const KSBeaconList& earlier);
  void adjustBeaconRegions(const KSBeaconList& beacons);
  void noteZonesSynced(const std::string& identifier);

  KSZoneSynchronizerContext context_;
  std::unique_ptr<ks::Alarm> refreshLocationsTimer_;
  /// Earlier timers that nobody invalidated; each leaves when it has fired.
  std::vector<std::unique_ptr<ks::Alarm>> forgottenTimers_;
};
