#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"

#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr const char* kDidRange = "-[KSProximityManager locationManager:didRangeBeacons:inRegion:]";
constexpr const char* kRange = "-[KSProximityManager rangeBeaconWithContent:forProximity:]";

ks::Date now() { return ks::Platform::current().clock().now(); }

std::string referenceTo(const KSPrivateBeacon& beacon) {
  return ks::stringWithFormat("%@:%@:%@", beacon.uuid(), std::to_string(beacon.major()),
                              std::to_string(beacon.minor()));
}

void traceFetch(const KSPrivateBeacon& beacon, const char* format) {
  kManagerLog(kDidRange, format, beacon.uuid(), beacon.major(), beacon.minor());
}

void traceDetection(const KSPrivateBeacon& beacon, std::int64_t proximity) {
  kManagerLog(kRange, "Beacon detected %@ %d %d - Entered %d", beacon.uuid(), beacon.major(),
              beacon.minor(), static_cast<int>(beacon.sentEnterEvent()));
  kManagerLog(kRange, "Name %@ Proximity %@", beacon.name(), formatProximity(proximity));
  kManagerLog(kRange, "====");
}

}  // namespace

void KSProximityTracker::didRangeBeacons(const std::vector<ks::CLBeacon>& beacons,
                                         const std::shared_ptr<const ks::CLRegion>& region) {
  const auto beaconRegion = ks::asBeaconRegion(region);
  if (!beaconRegion) {
    kManagerLog(kDidRange, "didRangeBeacons CircularRegion");
    return;
  }
  const std::string key = KSPrivateBeacon::keyForBeaconRegion(*beaconRegion);
  switch (judge(key, !beacons.empty())) {
    case Sighting::ignored:
      return;
    case Sighting::empty:
      restart(beaconRegion);
      return;
    case Sighting::taken:
      break;
  }
  kManagerLog(kDidRange, "didRangeBeacons: %@, beacon count: %d", key, beacons.size());

  const auto guard = context_.book.lock();
  const KSRegionBook::Region* known = nullptr;
  std::vector<std::string> toFetch;
  for (const auto& [uuid, major, minor, proximity, accuracy, rssi] : beacons) {
    if (known == nullptr) known = context_.book.regionWithKey(key);
    const auto beacon = context_.book.addOrReturnBeacon(
        KSRegionBook::find(known, uuid, major, minor), uuid, major, minor, *beaconRegion);
    context_.batteryMonitor.requestBatteryForBeacon(*beacon);
    if (!rangeBeacon(beacon, proximity)) continue;
    toFetch.push_back(referenceTo(*beacon));
    if (toFetch.size() == kMostBeaconsPerRequest) break;
  }
  if (toFetch.empty()) return;
  context_.network.loadContentForBeacons(toFetch, context_.settingsManager.disabledCategories(),
                                         context_.settingsManager.tags());
  if (const auto observer = context_.observer.get()) {
    observer->contentRequested({std::move(toFetch)});
  }
}

KSProximityTracker::Sighting KSProximityTracker::judge(const std::string& key, bool hasBeacons) {
  const ks::Date moment = now();
  const auto last = lastRangeDateTimes_.find(key);
  if (last == lastRangeDateTimes_.end()) {
    lastRangeDateTimes_.emplace(key, moment);
    return Sighting::taken;
  }
  const double elapsed = ks::secondsBetween(last->second, moment);
  if (elapsed < kThrottleSeconds) return Sighting::ignored;
  if (!hasBeacons && elapsed <= kRestartAfterSeconds) return Sighting::ignored;
  last->second = moment;
  return hasBeacons ? Sighting::taken : Sighting::empty;
}

void KSProximityTracker::restart(const std::shared_ptr<const ks::CLBeaconRegion>& region) {
  kManagerLog(kDidRange,
              "Restart monitoring due to more than 60 seconds no beacons detected for region: %@",
              region);
  context_.locationAccess.stopRanging(*region);
  context_.locationAccess.stopMonitoring(*region);
  context_.locationAccess.startMonitoring(region);
}

bool KSProximityTracker::rangeBeacon(const std::shared_ptr<KSPrivateBeacon>& beacon,
                                     ks::CLProximity proximity) {
  if (beacon->shouldFetchContent()) {
    if (beacon->state() == KSPrivateBeaconState::fetchingContent) {
      // Leaving the state makes coming back to it note the time again.
      beacon->setState(KSPrivateBeaconState::fresh);
      traceFetch(*beacon,
                 "Content-fetch is expired for beacon %@ - %d - %d ; retry fetch from server");
    } else {
      traceFetch(*beacon, "Content is expired for beacon %@ - %d - %d ; try fetch from server");
    }
    beacon->setState(KSPrivateBeaconState::fetchingContent);
    return true;
  }
  if (beacon->state() == KSPrivateBeaconState::fetchingContent) {
    traceFetch(*beacon, "Content-fetch is busy for beacon %@ - %d - %d");
  } else if (beacon->state() == KSPrivateBeaconState::noContent) {
    traceFetch(*beacon, "No content available in portal for beacon %@ - %d - %d");
  } else {
    rangeBeaconWithContent(beacon, static_cast<std::int64_t>(proximity));
  }
  return false;
}

void KSProximityTracker::rangeBeaconWithContent(const std::shared_ptr<KSPrivateBeacon>& beacon,
                                                std::int64_t proximity) {
  const auto guard = beacon->lock();
  if (beacon->state() != KSPrivateBeaconState::contentFetched) return;
  const auto content = beacon->content();
  if (content) content->isUpdatedLocalProperties = false;
  if (!beacon->sentEnterEvent()) noteFirstSighting(*beacon);
  if (!content) return;
  if (enableLogging) traceDetection(*beacon, proximity);
  const std::int64_t previous = beacon->proximity();
  if (previous == proximity && proximity != 0) return;
  if (previous != 0 && enableLogging) {
    kManagerLog(kRange, "Proximity changed from %@  to %@", formatProximity(previous),
                formatProximity(proximity));
  }
  beacon->setProximity(proximity);
  const bool wanted = content->proximity == proximity || content->proximity == 0;
  if (wanted && content->eventIsEnter) {
    approach(beacon);
  } else if (previous == content->proximity && previous != 0) {
    depart(beacon);
  } else if (content->eventIsEnter && previous != proximity) {
    context_.trigger.tellOtherProximity(beacon);
  }
  if (content->isUpdatedLocalProperties) context_.book.shareRuntimeState(*beacon);
}

void KSProximityTracker::noteFirstSighting(KSPrivateBeacon& beacon) {
  if (const auto& content = beacon.content()) {
    content->firstSeenOn = now();
    content->isUpdatedLocalProperties = true;
  }
  beacon.setSentEnterEvent(true);
  context_.statsManager.incrementMovedInProximityZone(beacon, context_.settingsManager.tags());
}

void KSProximityTracker::approach(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  KSProximityZoneContent& content = *beacon->content();
  kManagerLog(kRange,
              content.proximity != 0
                  ? "Content proximity equals current proximity and content event is onEnter"
                  : "Content is NORANGING and content event is onEnter");
  const bool wasInRange = beacon->inRange();
  beacon->setInRange(true);
  if (!context_.trigger.categoryEnabled(beacon, true)) {
    kManagerLog(kRange, "Category is disabled for content");
    return;
  }
  // A stay counts once, however often the proximity wobbles meanwhile.
  if (content.eventDetectionCounter == 0 || !wasInRange) content.updateEventDetectionCounter();
  context_.trigger.checkForContentTrigger(beacon, true);
}

void KSProximityTracker::depart(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  KSProximityZoneContent& content = *beacon->content();
  kManagerLog(kRange, "Content proximity equals previous proximity");
  beacon->setInRange(false);
  if (content.eventIsEnter) return;
  kManagerLog(kRange, "Content event is onExit");
  if (!context_.trigger.categoryEnabled(beacon, false)) return;
  content.updateEventDetectionCounter();
  context_.trigger.checkForContentTrigger(beacon, false);
}

void KSProximityTracker::forgetLastRange(const ks::CLBeaconRegion& region) {
  lastRangeDateTimes_.erase(KSPrivateBeacon::keyForBeaconRegion(region));
}
