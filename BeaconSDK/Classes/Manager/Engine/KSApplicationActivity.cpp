#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"

#include <memory>
#include <optional>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Platform/Api/Platform.h"

void KSApplicationActivity::registerForApplicationNotifications() {
  if (refinements_.oneActivation && !observations_.empty()) return;
  auto& center = ks::Platform::current().notificationCenter();
  observations_.push_back(center.addObserver(
      ks::UIApplicationDidBecomeActiveNotification,
      link_.whileAlive([this](const ks::NSNotification&) { appDidBecomeActive(); })));
  observations_.push_back(center.addObserver(
      ks::UIApplicationWillResignActiveNotification,
      link_.whileAlive([this](const ks::NSNotification&) { appWillResignActive(); })));
}

void KSApplicationActivity::appDidBecomeActive() {
  constexpr const char* kFunction = "-[KSProximityManager appDidBecomeActive:]";
  kManagerLog(kFunction, "App did become active");
  if (const auto refreshed = state_.lastLocationsRefreshDate()) {
    const double elapsed = ks::secondsBetween(*refreshed, ks::Platform::current().clock().now());
    const double interval = KSZoneSynchronizer::kLocationsRefreshInterval.count();
    if (elapsed > interval) {
      refreshCategoriesThenLocations();
    } else {
      kManagerLog(kFunction, "Schedule location refresh in %f seconds", interval - elapsed);
      synchronizer_.scheduleRefreshBesideEarlier(ks::Seconds(interval - elapsed));
    }
  }
  createRefreshBeaconsTimer();
}

void KSApplicationActivity::refreshCategoriesThenLocations() {
  kManagerLog("-[KSProximityManager appDidBecomeActive:]", "Refreshing categories");
  settingsManager_.refresh(link_.whileAlive([this](const std::optional<ks::Error>& error) {
    if (error) {
      kManagerLog("-[KSProximityManager appDidBecomeActive:]", "Refreshing categories failed: %@",
                  *error);
      return;
    }
    synchronizer_.refreshLocations();
  }));
}

void KSApplicationActivity::appWillResignActive() {
  kManagerLog("-[KSProximityManager appWillResignActive:]", "App will resign active");
  invalidateTimers();
}

void KSApplicationActivity::invalidateTimers() {
  refreshBeaconsTimer_.invalidate();
  synchronizer_.invalidateRefreshTimer();
}

void KSApplicationActivity::createRefreshBeaconsTimer() {
  kManagerLog("-[KSProximityManager createRefreshBeaconsTimer]",
              "Schedule refresh proximity zones timer");
  refreshBeaconsTimer_.schedule(kZoneCheckDelay, [this] { beaconsUpdate(); });
}

void KSApplicationActivity::beaconsUpdate() {
  ks::Platform::current().globalQueue().async(
      [check = std::make_shared<const KSZoneCheck>(synchronizer_.makeZoneCheck())] {
        check->run();
      });
}
