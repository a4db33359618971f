#include "BeaconSDK/Classes/Manager/Engine/KSLifecycle.h"

#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr const char* kStart = "-[KSProximityManager start:]";
constexpr const char* kFetch = "-[KSProximityManager performFetchWithCompletionHandler:]";
/// Locations older than this are fetched anew in the background.
constexpr int kLocationsOutdatedSeconds = 3600;

bool isAuthorized() {
  return ks::Platform::current().locationServices().authorizationStatus() ==
         ks::CLAuthorizationStatus::authorizedAlways;
}

}  // namespace

void KSLifecycle::start(StartCompletion completion) {
  auto& state = context_.state;
  if (state.started || state.starting) return;
  if (!completion) completion = [](const std::optional<ks::Error>&) {};
  state.starting = true;
  kManagerLog(kStart, "Starting");
  if (!isAuthorized()) {
    refuseStart(completion);
    return;
  }
  if (context_.settingsManager.contentCategories().empty()) {
    fetchCategoriesThenRun(std::move(completion));
    return;
  }
  state.setErrorHappened(false);
  state.started = true;
  state.starting = false;
  run();
  kManagerLog(kStart, "Refreshing categories");
  context_.settingsManager.refresh([](const std::optional<ks::Error>& error) {
    if (error) kManagerLog(kStart, "Refreshing categories failed: %@", *error);
  });
  kManagerLog(kStart, "SDK initialized");
  completion(std::nullopt);
}

void KSLifecycle::refuseStart(const StartCompletion& completion) {
  kManagerLog(kStart, "No location services usage authorization. Will stop");
  context_.state.starting = false;
  completion(
      ks::NSErrorHelpers::errorWithDescription("Wrong location manager authorization status"));
  if (std::exchange(context_.state.justLoaded, true)) return;
  context_.settingsManager.refresh(
      context_.link.whileAlive([this](const std::optional<ks::Error>&) {
        context_.activity.registerForApplicationNotifications();
        context_.synchronizer.refreshLocationsWithoutLocation();
      }));
}

void KSLifecycle::fetchCategoriesThenRun(StartCompletion completion) {
  kManagerLog(kStart, "Fetching categories");
  context_.settingsManager.refresh(context_.link.whileAlive(
      [this, completion = std::move(completion)](const std::optional<ks::Error>& error) {
        context_.state.starting = false;
        if (error) {
          kManagerLog(kStart, "Fetching categories failed: %@", *error);
          kManagerLog(kStart, "SDK not initialized !");
          completion(error);
          return;
        }
        context_.state.started = true;
        kManagerLog(kStart, "Category fetch done");
        context_.state.setErrorHappened(false);
        run();
        kManagerLog(kStart, "SDK initialized");
        completion(std::nullopt);
      }));
}

void KSLifecycle::run() {
  context_.activity.registerForApplicationNotifications();
  context_.regionMonitor.initializeLocationManager(context_.delegate);
  context_.synchronizer.refreshLocations();
}

void KSLifecycle::performFetchWithCompletionHandler(FetchCompletion completion) {
  kManagerLog(kFetch, "Background fetch");
  if (context_.state.started) {
    fetch(completion);
    return;
  }
  start([this, completion = std::move(completion)](const std::optional<ks::Error>& error) {
    if (error) {
      completion(ks::UIBackgroundFetchResult::noData);
    } else {
      fetch(completion);
    }
  });
}

void KSLifecycle::fetch(const FetchCompletion& completion) {
  using ks::UIBackgroundFetchResult;
  const auto refreshed = context_.state.lastLocationsRefreshDate();
  auto result = UIBackgroundFetchResult::noData;
  if (context_.state.errorHappened()) {
    retry();
    ks::NSLog("Will Wait for more %d Seconds............... ", kLocationsOutdatedSeconds);
  } else if (!refreshed) {
    kManagerLog(kFetch, "No locations yet");
  } else if (ks::secondsBetween(*refreshed, ks::Platform::current().clock().now()) >
             kLocationsOutdatedSeconds) {
    kManagerLog(kFetch, "Will background fetch locations");
    context_.network->loadLocations(context_.locationAccess.currentLocation());
    result = UIBackgroundFetchResult::newData;
  } else {
    kManagerLog(kFetch, "No background fetch locations");
    kManagerLog(kFetch, "Checking Proximity Zones");
    if (context_.synchronizer.checkIfProximityZonesNeedRefreshing()) {
      kManagerLog(kFetch, "Synced at least one proximity zone");
      result = UIBackgroundFetchResult::newData;
    }
  }
  completion(result);
}

void KSLifecycle::reset() {
  context_.regionMonitor.endMonitoring();
  context_.network->reset();
  context_.activity.invalidateTimers();
  context_.regionMonitor.forgetNeighbourhood();
  kManagerLog("-[KSProximityManager reset]", "Reset all the monitoring");
}
