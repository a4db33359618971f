#include "BeaconSDK/Classes/Manager/Engine/KSLifecycle.h"

#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

constexpr const char* kStart = "-[KSProximityManager start:]";
constexpr const char* kFetch = "-[KSProximityManager performFetchWithCompletionHandler:]";
/// Locations older than this are fetched again in the background.
constexpr int kLocationsOutdatedSeconds = 3600;

}  // namespace

void KSLifecycle::start(StartCompletion completion) {
  if (!completion) completion = [](const std::optional<ks::Error>&) {};
  if (state_.started || state_.starting) {
    // By default such a start has no effect and its completion is never called.
    if (!refinements_.startAlwaysAnswers) return;
    if (state_.started) return completion(std::nullopt);
    waiting_.push_back(std::move(completion));
    return;
  }
  state_.starting = true;
  kManagerLog(kStart, "Starting");
  if (!locationAccess_.isAuthorized()) {
    refuseStart(completion);
    return;
  }
  // Content of an unknown category never fires, so the first start waits for the list. Later ones
  // use the stored list and refresh it beside.
  if (settingsManager_.contentCategories().empty()) {
    // The session is closed: no reply would ever come.
    if (network_.isReset()) {
      state_.starting = false;
      completion(ks::NSErrorHelpers::errorWithDescription(
          "The library was reset; make a new manager to start again"));
      return;
    }
    fetchCategoriesThenRun(std::move(completion));
    return;
  }
  state_.setErrorHappened(false);
  state_.started = true;
  state_.starting = false;
  run();
  kManagerLog(kStart, "Refreshing categories");
  settingsManager_.refresh([](const std::optional<ks::Error>& error) {
    if (error) kManagerLog(kStart, "Refreshing categories failed: %@", *error);
  });
  kManagerLog(kStart, "SDK initialized");
  completion(std::nullopt);
}

void KSLifecycle::refuseStart(const StartCompletion& completion) {
  kManagerLog(kStart, "No location services usage authorization. Will stop");
  state_.starting = false;
  completion(
      ks::NSErrorHelpers::errorWithDescription("Wrong location manager authorization status"));
  // The first refused start still fetches the categories; further ones do not.
  if (std::exchange(state_.justLoaded, true)) return;
  settingsManager_.refresh(link_.whileAlive([this](const std::optional<ks::Error>&) {
    activity_.registerForApplicationNotifications();
    refresh_.refreshLocationsWithoutLocation();
  }));
}

void KSLifecycle::fetchCategoriesThenRun(StartCompletion completion) {
  kManagerLog(kStart, "Fetching categories");
  settingsManager_.refresh(link_.whileAlive(
      [this, completion = std::move(completion)](const std::optional<ks::Error>& error) {
        state_.starting = false;
        if (error) {
          kManagerLog(kStart, "Fetching categories failed: %@", *error);
          kManagerLog(kStart, "SDK not initialized !");
          completion(error);
          answerWaiting(error);
          return;
        }
        state_.started = true;
        kManagerLog(kStart, "Category fetch done");
        state_.setErrorHappened(false);
        run();
        kManagerLog(kStart, "SDK initialized");
        completion(std::nullopt);
        answerWaiting(std::nullopt);
      }));
}

void KSLifecycle::answerWaiting(const std::optional<ks::Error>& error) {
  for (const StartCompletion& completion : std::exchange(waiting_, {})) completion(error);
}

void KSLifecycle::run() {
  activity_.registerForApplicationNotifications();
  regionMonitor_.initializeLocationManager();
  battery_ = std::make_unique<KSBatteryStatus>(platform_);
  refresh_.refreshLocations();
}

void KSLifecycle::performFetchWithCompletionHandler(FetchCompletion completion) {
  kManagerLog(kFetch, "Background fetch");
  if (state_.started) {
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
  const auto refreshed = state_.lastLocationsRefreshDate();
  auto result = UIBackgroundFetchResult::noData;
  if (state_.errorHappened()) {
    retry();
    ks::NSLog("Will Wait for more %d Seconds............... ", kLocationsOutdatedSeconds);
  } else if (!refreshed) {
    kManagerLog(kFetch, "No locations yet");
  } else if (ks::secondsBetween(*refreshed, platform_.clock().now()) > kLocationsOutdatedSeconds) {
    kManagerLog(kFetch, "Will background fetch locations");
    refresh_.loadLocations();
    result = UIBackgroundFetchResult::newData;
  } else {
    kManagerLog(kFetch, "No background fetch locations");
    kManagerLog(kFetch, "Checking Proximity Zones");
    if (refresh_.checkIfProximityZonesNeedRefreshing()) {
      kManagerLog(kFetch, "Synced at least one proximity zone");
      result = UIBackgroundFetchResult::newData;
    }
  }
  // Called before the downloads end; the background session continues without the application.
  completion(result);
}

void KSLifecycle::reset() {
  // First of all, so that no event of the device arrives during the rest.
  regionMonitor_.endMonitoring();
  network_.reset();
  refresh_.invalidateTimers();
  neighbourhood_.forget();
  kManagerLog("-[KSProximityManager reset]", "Reset all the monitoring");
}
