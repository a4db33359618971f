#include "BeaconSDK/Classes/Manager/Regions/KSProximityTracker.h"

#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"
#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

constexpr const char* kDidRange = "-[KSProximityManager locationManager:didRangeBeacons:inRegion:]";
constexpr const char* kRange = "-[KSProximityManager rangeBeaconWithContent:forProximity:]";

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

  const auto guard = book_.lock();
  const KSRegionBook::Region* known = nullptr;
  std::vector<std::string> toFetch;
  for (const auto& [uuid, major, minor, proximity, accuracy, rssi] : beacons) {
    // Looked up until it exists: the first unknown beacon creates the region.
    if (known == nullptr) known = book_.regionWithKey(key);
    const auto beacon = book_.addOrReturnBeacon(KSRegionBook::find(known, uuid, major, minor), uuid,
                                                major, minor, *beaconRegion);
    if (battery_) battery_->requestBatteryForBeacon(*beacon);
    if (!rangeBeacon(beacon, proximity)) continue;
    toFetch.push_back(referenceTo(*beacon));
    // The remaining beacons are handled with the next result.
    if (toFetch.size() == kMostBeaconsPerRequest) break;
  }
  contentRequests_.request(std::move(toFetch));
}

KSProximityTracker::Sighting KSProximityTracker::judge(const std::string& key, bool hasBeacons) {
  const ks::Date moment = clock_.now();
  const auto last = lastRangeDateTimes_.find(key);
  if (last == lastRangeDateTimes_.end()) {
    lastRangeDateTimes_.emplace(key, moment);
    return Sighting::taken;
  }
  // A clock that was set back leaves a last time in the future, which counts as long ago.
  const double elapsed = ks::secondsBetween(last->second, moment);
  if (elapsed >= 0 && elapsed < kThrottleSeconds) return Sighting::ignored;
  if (!hasBeacons && elapsed >= 0 && elapsed <= kRestartAfterSeconds) return Sighting::ignored;
  last->second = moment;
  return hasBeacons ? Sighting::taken : Sighting::empty;
}

void KSProximityTracker::restart(const std::shared_ptr<const ks::CLBeaconRegion>& region) {
  kManagerLog(kDidRange,
              "Restart monitoring due to more than 60 seconds no beacons detected for region: %@",
              region);
  locationAccess_.stopRanging(*region);
  locationAccess_.stopMonitoring(*region);
  locationAccess_.startMonitoring(region);
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
  beacon->setLastSeenOn(clock_.now());
  if (!beacon->sentEnterEvent()) noteFirstSighting(beacon);
  if (!content) return;
  if (enableLogging) traceDetection(*beacon, proximity);
  const std::int64_t previous = beacon->proximity();
  // An unknown proximity is evaluated each time.
  if (previous == proximity && proximity != 0) return;
  if (previous != 0 && enableLogging) {
    kManagerLog(kRange, "Proximity changed from %@  to %@", formatProximity(previous),
                formatProximity(proximity));
  }
  beacon->setProximity(proximity);
  if (content->acceptsProximity(proximity) && content->eventIsEnter) {
    approach(beacon);
  } else if (previous == content->proximity && previous != 0) {
    depart(beacon);
  } else if (content->eventIsEnter && previous != proximity) {
    trigger_.tellOtherProximity(beacon);
  }
  if (content->isUpdatedLocalProperties) book_.shareRuntimeState(*beacon);
}

void KSProximityTracker::noteFirstSighting(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  if (const auto& content = beacon->content()) {
    content->firstSeenOn = clock_.now();
    content->isUpdatedLocalProperties = true;
  }
  stays_.begin(beacon);
}

void KSProximityTracker::approach(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  KSProximityZoneContent& content = *beacon->content();
  kManagerLog(kRange,
              content.proximity != 0
                  ? "Content proximity equals current proximity and content event is onEnter"
                  : "Content is NORANGING and content event is onEnter");
  const bool wasInRange = beacon->inRange();
  beacon->setInRange(true);
  if (!trigger_.categoryEnabled(beacon, true)) {
    kManagerLog(kRange, "Category is disabled for content");
    return;
  }
  // A stay counts once, however often the proximity wobbles meanwhile.
  if (content.eventDetectionCounter == 0 || !wasInRange) content.updateEventDetectionCounter();
  trigger_.checkForContentTrigger(beacon, true);
}

void KSProximityTracker::depart(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  KSProximityZoneContent& content = *beacon->content();
  kManagerLog(kRange, "Content proximity equals previous proximity");
  beacon->setInRange(false);
  if (content.eventIsEnter) return;
  kManagerLog(kRange, "Content event is onExit");
  if (!trigger_.categoryEnabled(beacon, false)) return;
  content.updateEventDetectionCounter();
  trigger_.checkForContentTrigger(beacon, false);
}

void KSProximityTracker::startRanging(const std::shared_ptr<const ks::CLBeaconRegion>& region) {
  lastRangeDateTimes_.erase(KSPrivateBeacon::keyForBeaconRegion(*region));
  locationAccess_.startRanging(region);
}

void KSProximityTracker::stopRanging(const ks::CLBeaconRegion& region) {
  locationAccess_.stopRanging(region);
}
