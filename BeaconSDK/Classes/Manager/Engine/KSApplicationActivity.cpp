#include "BeaconSDK/Classes/Manager/Engine/KSApplicationActivity.h"

#include <optional>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Platform/Api/UIKit.h"

void KSApplicationActivity::registerForApplicationNotifications() {
  // By default each start adds a registration, and each registration handles every activation.
  if (refinements_.oneActivation && !observations_.empty()) return;
  observations_.push_back(notificationCenter_.addObserver(
      ks::UIApplicationDidBecomeActiveNotification,
      link_.whileAlive([this](const ks::NSNotification&) { appDidBecomeActive(); })));
  observations_.push_back(notificationCenter_.addObserver(
      ks::UIApplicationWillResignActiveNotification,
      link_.whileAlive([this](const ks::NSNotification&) { appWillResignActive(); })));
}

void KSApplicationActivity::appDidBecomeActive() {
  constexpr const char* kFunction = "-[KSProximityManager appDidBecomeActive:]";
  kManagerLog(kFunction, "App did become active");
  if (const auto refreshed = state_.lastLocationsRefreshDate()) {
    const double elapsed = ks::secondsBetween(*refreshed, clock_.now());
    const double interval = KSPortalRefresh::kLocationsRefreshInterval.count();
    if (elapsed > interval) {
      refreshCategoriesThenLocations();
    } else {
      // The rest of the interval, which counts from the last refresh.
      kManagerLog(kFunction, "Schedule location refresh in %f seconds", interval - elapsed);
      refresh_.scheduleRefreshBesideEarlier(ks::Seconds(interval - elapsed));
    }
  }
  refresh_.createRefreshBeaconsTimer();
}

void KSApplicationActivity::refreshCategoriesThenLocations() {
  kManagerLog("-[KSProximityManager appDidBecomeActive:]", "Refreshing categories");
  settingsManager_.refresh(link_.whileAlive([this](const std::optional<ks::Error>& error) {
    if (error) {
      kManagerLog("-[KSProximityManager appDidBecomeActive:]", "Refreshing categories failed: %@",
                  *error);
      return;
    }
    refresh_.refreshLocations();
  }));
}

void KSApplicationActivity::appWillResignActive() {
  kManagerLog("-[KSProximityManager appWillResignActive:]", "App will resign active");
  refresh_.invalidateTimers();
}
