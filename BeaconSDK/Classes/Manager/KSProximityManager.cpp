#include "BeaconSDK/Classes/Manager/KSProximityManager.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Classes/Manager/Engine/KSEngineRooms.h"
#include "BeaconSDK/Classes/Manager/Health/HeldData.h"
#include "BeaconSDK/Platform/Api/Class.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

/// The portal's data changes seldom; waking the process oftener only costs battery.
constexpr ks::Seconds kBackgroundFetchInterval{2700};

using RegionPointer = std::shared_ptr<const ks::CLRegion>;

/// In debug builds ends the process when the main queue's calls come from elsewhere: what they
/// would break shows much later and far away.
void requireMainQueue([[maybe_unused]] const ks::DispatchQueue& mainQueue,
                      [[maybe_unused]] const char* operation) {
#ifndef NDEBUG
  if (mainQueue.isCurrent()) return;
  std::fprintf(stderr, "KSBeaconSDK: %s must be called on the main queue's thread\n", operation);
  std::abort();
#endif
}

}  // namespace

/// Keeps the platform for as long as the rooms use it.
class KSProximityManager::Rooms : private ks::PlatformUse, public KSEngineRooms {
 public:
  using KSEngineRooms::KSEngineRooms;
};

const ks::Class KSProximityManager::kClass{kClassName, nullptr, nullptr, {}};

std::shared_ptr<KSProximityManager> KSProximityManager::initWithUsername(
    std::string username, std::string password, std::optional<ks::NSURL> url, ks::NSLocale locale,
    const ks::Refinements& refinements, const ks::Consent& consent) {
  auto& platform = ks::Platform::current();
  platform.application().setMinimumBackgroundFetchInterval(kBackgroundFetchInterval);
  if (!KSCacheFile::createFolder()) return nullptr;
  kManagerLog("-[KSProximityManager initWithUsername:password:url:locale:]",
              "the lib version is - %@", platform.libraryBundle().shortVersionString);
  const KSPortalAccess portal{url.value_or(ks::NSURL{kDefaultPortalURL}), std::move(locale),
                              std::move(username), std::move(password), kSessionIdentifier};
  auto manager = std::make_shared<KSProximityManager>(Key{});
  manager->rooms_ = std::make_unique<Rooms>(platform, portal, refinements, consent,
                                            static_cast<ks::CLLocationManagerDelegate&>(*manager));
  manager->rooms_->setManager(manager);
  platform.application().cancelAllLocalNotifications();
  return manager;
}

KSProximityManager::KSProximityManager(Key) {}

KSProximityManager::~KSProximityManager() {
  kManagerLog("-[KSProximityManager dealloc]", "dealloc");
}

void KSProximityManager::enableLogging(bool enabled) { ::enableLogging = enabled; }

void KSProximityManager::start(StartCompletion completion) {
  requireMainQueue(rooms_->mainQueue, "start");
  const auto alive = shared_from_this();
  rooms_->lifecycle.start(std::move(completion));
}

void KSProximityManager::retry() { start(nullptr); }

void KSProximityManager::performFetchWithCompletionHandler(FetchCompletion completion) {
  requireMainQueue(rooms_->mainQueue, "performFetchWithCompletionHandler");
  const auto alive = shared_from_this();
  rooms_->lifecycle.performFetchWithCompletionHandler(std::move(completion));
}

void KSProximityManager::handleEventsForBackgroundURLSession(
    std::string_view identifier, std::function<void()> completionHandler) {
  if (identifier != kSessionIdentifier) return;
  rooms_->network->setBackgroundSessionCompletionHandler(std::move(completionHandler));
}

void KSProximityManager::reset() {
  requireMainQueue(rooms_->mainQueue, "reset");
  if (rooms_->outbox) rooms_->outbox->stop();
  rooms_->lifecycle.reset();
  rooms_->stays.forgetAll();
}

bool KSProximityManager::started() const { return rooms_->state.started; }
bool KSProximityManager::starting() const { return rooms_->state.starting; }
const ks::LocationList& KSProximityManager::locations() const { return rooms_->cache.locations(); }
KSSettingsManager& KSProximityManager::settingsManager() { return *rooms_->settingsManager; }

std::optional<std::vector<std::shared_ptr<KSProximityZone>>> KSProximityManager::enteredZones()
    const {
  return rooms_->cache.enteredZones();
}

std::vector<std::shared_ptr<KSProximityZone>> KSProximityManager::knownZones() const {
  return rooms_->cache.knownZones();
}

std::optional<ks::Date> KSProximityManager::lastLocationsRefreshDate() const {
  return rooms_->state.lastLocationsRefreshDate();
}
void KSProximityManager::setLastLocationsRefreshDate(std::optional<ks::Date> date) {
  rooms_->state.setLastLocationsRefreshDate(date);
}
bool KSProximityManager::errorHappened() const { return rooms_->state.errorHappened(); }
void KSProximityManager::setErrorHappened(bool flag) { rooms_->state.setErrorHappened(flag); }

ks::GeofenceTable KSProximityManager::prefetchGeofences() const {
  const std::lock_guard lock(rooms_->cache.geofencesMutex());
  return rooms_->cache.prefetchGeofences();
}
void KSProximityManager::setPrefetchGeofences(ks::GeofenceTable geofences) {
  const std::lock_guard lock(rooms_->cache.geofencesMutex());
  rooms_->cache.prefetchGeofences() = std::move(geofences);
}

std::shared_ptr<KSProximityZone> KSProximityManager::proximityZoneForIdentifier(
    std::string_view identifier, KSContentDownloadType contentType) const {
  switch (contentType) {
    case KSContentDownloadType::contentForBeacons:
      return rooms_->book.beaconWithIdentifier(identifier);
    case KSContentDownloadType::geofences:
      return rooms_->cache.geofenceForRegion(identifier);
    default:
      return nullptr;
  }
}

void KSProximityManager::showNotificationForProximityZone(
    const std::shared_ptr<KSProximityZone>& zone) {
  rooms_->notifier.showNotificationForProximityZone(zone);
}
void KSProximityManager::fetchAndShowNotificationForProximityZone(
    const std::shared_ptr<KSProximityZone>& zone) {
  rooms_->notifier.fetchAndShowNotificationForProximityZone(zone);
}
void KSProximityManager::showMessage(std::string title, std::string message) {
  rooms_->notifier.showMessage(std::move(title), std::move(message));
}
std::optional<std::filesystem::path> KSProximityManager::contentPathFromRemoteUrl(
    const std::optional<std::string>& url, std::string_view filePrefix) {
  return rooms_->notifier.contentPathFromRemoteUrl(url, filePrefix);
}
void KSProximityManager::incrementLoyaltyForProximityZone(
    const std::shared_ptr<KSProximityZone>& zone) {
  requireMainQueue(rooms_->mainQueue, "incrementLoyaltyForProximityZone");
  if (!zone) return;
  rooms_->statsManager->incrementLoyaltyForProximity(*zone, rooms_->settingsManager->tags());
}

void KSProximityManager::reloadBeacons() {
  requireMainQueue(rooms_->mainQueue, "reloadBeacons");
  rooms_->regionMonitor.clearAllBeaconRegions();
  rooms_->neighbourhood.createNewGeofence();
}

std::shared_ptr<KSProximityZone> KSProximityManager::proximityZoneFromNotification(
    const ks::NSNotification& notification) {
  return notification.userInfo[ks::manager_keys::kZone].objectOf<KSProximityZone>();
}
bool KSProximityManager::isNotificationForDwellingProximityZone(
    const ks::NSNotification& notification) {
  return notification.userInfo[ks::manager_keys::kDwelling] == ks::Value(1);
}
std::shared_ptr<KSLocation> KSProximityManager::locationFromNotification(
    const ks::NSNotification& notification) {
  return notification.userInfo[ks::manager_keys::kLocation].objectOf<KSLocation>();
}
std::shared_ptr<ks::Error> KSProximityManager::errorFromNotification(
    const ks::NSNotification& notification) {
  return notification.userInfo[ks::manager_keys::kError].objectOf<ks::Error>();
}
void KSProximityManager::postError(const ks::Error& error, std::string notification) {
  rooms_->link.post(std::move(notification),
                    {{ks::manager_keys::kError, std::make_shared<ks::Error>(error)}});
}

ks::Health KSProximityManager::health() const {
  rooms_->lookAtClock();
  return rooms_->health();
}

const ks::Consent& KSProximityManager::consent() const { return rooms_->consent(); }
void KSProximityManager::setConsent(const ks::Consent& consent) { rooms_->setConsent(consent); }

void KSProximityManager::purge() {
  const auto alive = shared_from_this();
  reset();
  rooms_->forgetHeld();
  ks::HeldData::purge();
}

const ks::Refinements& KSProximityManager::refinements() const { return rooms_->refinements; }

std::optional<ks::StatsLedger> KSProximityManager::statisticsLedger() const {
  return rooms_->outbox ? std::optional(rooms_->outbox->ledger()) : std::nullopt;
}

void KSProximityManager::setEngineObserver(std::weak_ptr<ks::EngineObserver> observer) {
  rooms_->observer.set(std::move(observer));
}

void KSProximityManager::didUpdateLocations(ks::CLLocationManager&,
                                            const std::vector<ks::CLLocation>& locations) {
  rooms_->lookAtClock();
  if (!rooms_->consent().positions) return;
  rooms_->healthWatch.located();
  rooms_->neighbourhood.didUpdateLocations(locations);
}
void KSProximityManager::didDetermineState(ks::CLLocationManager&, ks::CLRegionState state,
                                           const RegionPointer& region) {
  rooms_->lookAtClock();
  rooms_->regionEvents.didDetermineState(state, region);
}
void KSProximityManager::didEnterRegion(ks::CLLocationManager&, const RegionPointer& region) {
  rooms_->regionEvents.didEnterRegion(*region);
}
void KSProximityManager::didExitRegion(ks::CLLocationManager&, const RegionPointer& region) {
  rooms_->regionEvents.didExitRegion(*region);
}
void KSProximityManager::didRangeBeacons(ks::CLLocationManager&,
                                         const std::vector<ks::CLBeacon>& beacons,
                                         const RegionPointer& region) {
  rooms_->lookAtClock();
  if (!beacons.empty()) rooms_->healthWatch.beaconsRanged();
  rooms_->tracker.didRangeBeacons(beacons, region);
}
void KSProximityManager::didStartMonitoringForRegion(ks::CLLocationManager&,
                                                     const RegionPointer& region) {
  rooms_->healthWatch.regionTaken(region->identifier());
  rooms_->regionMonitor.didStartMonitoringForRegion(*region);
}
void KSProximityManager::monitoringDidFailForRegion(ks::CLLocationManager&,
                                                    const RegionPointer& region,
                                                    const ks::Error& error) {
  if (region) rooms_->healthWatch.regionRefused(*region);
  KSRegionMonitor::monitoringDidFailForRegion(error);
}
void KSProximityManager::didFailWithError(ks::CLLocationManager&, const ks::Error& error) {
  KSRegionMonitor::didFailWithError(error);
}
