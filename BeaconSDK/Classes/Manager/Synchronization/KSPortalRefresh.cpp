#include "BeaconSDK/Classes/Manager/Synchronization/KSPortalRefresh.h"

#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

void KSPortalRefresh::refreshLocations() {
  const auto& location = locationAccess_.currentLocation();
  if (location) refreshLocationsWithLocation(location);
}

void KSPortalRefresh::refreshLocationsWithoutLocation() {
  refreshLocationsWithLocation(std::nullopt);
}

void KSPortalRefresh::refreshLocationsWithLocation(const std::optional<ks::CLLocation>& location) {
  kManagerLog("-[KSProximityManager refreshLocationsWithLocation:andTimer:]",
              "Will refresh locations");
  network_->loadLocations(location);
  restartRefreshTimer();
}

void KSPortalRefresh::locationsReplaced() {
  restartRefreshTimer();
  checkIfProximityZonesNeedRefreshing();
}

void KSPortalRefresh::restartRefreshTimer() {
  refreshLocationsTimer_.reset();
  scheduleRefreshTimer(kLocationsRefreshInterval);
}

void KSPortalRefresh::scheduleRefreshBesideEarlier(ks::Seconds delay) {
  if (refreshLocationsTimer_) forgottenTimers_.push_back(std::move(refreshLocationsTimer_));
  // Fired timers are removed, so the list holds those of one interval only.
  std::erase_if(forgottenTimers_, [](const auto& timer) { return !timer->isScheduled(); });
  scheduleRefreshTimer(delay);
}

void KSPortalRefresh::scheduleRefreshTimer(ks::Seconds delay) {
  refreshLocationsTimer_ = std::make_unique<ks::Alarm>(mainQueue_);
  refreshLocationsTimer_->schedule(delay, [this] { refreshLocations(); });
}

KSZoneCheck KSPortalRefresh::makeZoneCheck() const {
  return {cache_.locations(), network_, settingsManager_, clock_};
}

void KSPortalRefresh::createRefreshBeaconsTimer() {
  kManagerLog("-[KSProximityManager createRefreshBeaconsTimer]",
              "Schedule refresh proximity zones timer");
  refreshBeaconsTimer_.schedule(kZoneCheckDelay, [this] { beaconsUpdate(); });
}

void KSPortalRefresh::beaconsUpdate() {
  globalQueue_.async(
      [check = std::make_shared<const KSZoneCheck>(makeZoneCheck())] { check->run(); });
}

void KSPortalRefresh::invalidateTimers() {
  refreshBeaconsTimer_.invalidate();
  refreshLocationsTimer_.reset();
  forgottenTimers_.clear();
}
