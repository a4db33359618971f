#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/Alarm.h"
#include "BeaconSDK/Classes/Manager/Regions/KSLocationAccess.h"
#include "BeaconSDK/Classes/Manager/Synchronization/KSZoneCheck.h"
#include "BeaconSDK/Classes/Manager/Zones/KSZoneCache.h"

/// Requests locations and zones from the portal when they are due, and owns the two timers for it.
/// Main queue only.
class KSPortalRefresh {
 public:
  /// Time after which the location list is fetched again.
  static constexpr ks::Seconds kLocationsRefreshInterval{3600.0};
  /// Time from the application becoming active to the one check of the zones.
  static constexpr ks::Seconds kZoneCheckDelay{60.0};

  KSPortalRefresh(std::shared_ptr<KSNetwork> network, const KSSettingsManager& settingsManager,
                  const KSZoneCache& cache, const KSLocationAccess& locationAccess,
                  const ks::Clock& clock, ks::DispatchQueue& mainQueue,
                  ks::DispatchQueue& globalQueue)
      : network_(std::move(network)),
        settingsManager_(settingsManager),
        cache_(cache),
        locationAccess_(locationAccess),
        clock_(clock),
        mainQueue_(mainQueue),
        globalQueue_(globalQueue) {}

  /// Fetches the locations around the current position; does nothing without one.
  void refreshLocations();
  void refreshLocationsWithoutLocation();
  void refreshLocationsWithLocation(const std::optional<ks::CLLocation>& location);
  /// As `refreshLocations`, without changing the timer.
  void loadLocations() { network_->loadLocations(locationAccess_.currentLocation()); }
  /// Call when the location list was replaced: schedules its next fetch one interval from now and
  /// requests outdated zones.
  void locationsReplaced();
  /// Sets the refresh timer to `delay`. An earlier timer still fires once: it is replaced, not
  /// cancelled.
  void scheduleRefreshBesideEarlier(ks::Seconds delay);

  /// Requests the zones of every location whose refresh interval has passed; true when there was
  /// one.
  bool checkIfProximityZonesNeedRefreshing() { return makeZoneCheck().run(); }
  /// Schedules `beaconsUpdate`.
  void createRefreshBeaconsTimer();
  /// Checks the zones on the global queue.
  void beaconsUpdate();

  /// Cancels the replaced timers as well.
  void invalidateTimers();

 private:
  KSZoneCheck makeZoneCheck() const;
  void restartRefreshTimer();
  void scheduleRefreshTimer(ks::Seconds delay);

  const std::shared_ptr<KSNetwork> network_;
  const KSSettingsManager& settingsManager_;
  const KSZoneCache& cache_;
  const KSLocationAccess& locationAccess_;
  const ks::Clock& clock_;
  ks::DispatchQueue& mainQueue_;
  ks::DispatchQueue& globalQueue_;
  ks::Alarm refreshBeaconsTimer_{mainQueue_};
  std::unique_ptr<ks::Alarm> refreshLocationsTimer_;
  /// Replaced timers that are not cancelled; each is removed when it has fired.
  std::vector<std::unique_ptr<ks::Alarm>> forgottenTimers_;
};
