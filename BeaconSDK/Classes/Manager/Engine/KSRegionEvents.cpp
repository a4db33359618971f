#include "BeaconSDK/Classes/Manager/Engine/KSRegionEvents.h"

#include <cstdint>
#include <mutex>

#include "BeaconSDK/Classes/Manager/Common/KSManagerLog.h"

namespace {

constexpr const char* kDetermine =
    "-[KSProximityManager locationManager:didDetermineState:forRegion:]";

}  // namespace

void KSRegionEvents::didDetermineState(ks::CLRegionState state,
                                       const std::shared_ptr<const ks::CLRegion>& region) {
  if (ks::asCircularRegion(region)) {
    // A circle that is no geofence can only be the search region.
    const auto geofence = cache_.geofenceForRegion(region->identifier());
    if (!geofence) {
      neighbourhood_.didDetermineState(state, *region);
    } else if (state == ks::CLRegionState::inside) {
      kManagerLog(kDetermine, "On exit noranging beacon content event");
      countAndCheck(geofence, true);
    } else if (state == ks::CLRegionState::outside) {
      geofenceLeft(geofence);
    }
    return;
  }
  kManagerLog(kDetermine, "didDetermineState BeaconRegion");
  if (const auto beaconRegion = ks::asBeaconRegion(region)) {
    if (state == ks::CLRegionState::inside) beaconRegionEntered(beaconRegion);
    if (state == ks::CLRegionState::outside) beaconRegionLeft(*beaconRegion);
  }
  cache_.saveBeaconsForLocation();
}

void KSRegionEvents::beaconRegionEntered(const std::shared_ptr<const ks::CLBeaconRegion>& region) {
  kManagerLog(kDetermine, "Entered region %@", region->proximityUUID());
  kManagerLog(kDetermine, "====");
  tracker_.startRanging(region);
}

void KSRegionEvents::beaconRegionLeft(const ks::CLBeaconRegion& region) {
  kManagerLog(kDetermine, "Exited region %@", region.proximityUUID());
  kManagerLog(kDetermine, "====");
  // First, so that no late result starts a stay again.
  tracker_.stopRanging(region);
  const auto beacons = book_.beaconsInRegion(region);
  if (!beacons) return;
  for (const auto& beacon : *beacons) leaveBeacon(beacon);
}

void KSRegionEvents::leaveBeacon(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  const auto guard = beacon->lock();
  kManagerLog(kDetermine, "Removing beacon %@ %d %d", beacon->uuid(), beacon->major(),
              beacon->minor());
  beacon->setInRange(false);
  trigger_.endDwelling(*beacon);
  if (beacon->sentEnterEvent()) endEnteredStay(beacon);
  beacon->setProximity(0);
}

void KSRegionEvents::endEnteredStay(const std::shared_ptr<KSPrivateBeacon>& beacon) {
  stays_.end(beacon);
  const auto content = beacon->content();
  const std::int64_t wanted = content ? content->proximity : 0;
  const bool firesOnExit = !content || !content->eventIsEnter;
  // With a wanted proximity the content fires only if the device was last seen there; if it was
  // elsewhere, the departure has been handled while ranging.
  if (wanted != 0 && wanted == beacon->proximity()) {
    kManagerLog(kDetermine, "beacon moved out of trigger zone");
    content->updateEventDetectionCounter();
    kManagerLog(kDetermine, "Content %@", content);
    if (firesOnExit) {
      kManagerLog(kDetermine, "On exit beacon content event");
      countAndCheck(beacon, false);
    }
  }
  if (wanted == 0 && firesOnExit) {
    kManagerLog(kDetermine, "On exit noranging beacon content event");
    countAndCheck(beacon, false);
  }
}

void KSRegionEvents::geofenceLeft(const std::shared_ptr<KSGeofence>& geofence) {
  trigger_.endDwelling(*geofence);
  const auto content = geofence->content();
  if (!geofence->sentEnterEvent()) return;
  if (!content || !content->eventIsEnter) {
    kManagerLog(kDetermine, "On exit noranging beacon content event");
    countAndCheck(geofence, false);
  }
  // The border of a circle that took the place of another is not crossed.
  if (refinements_.exactStays) endStay(geofence);
}

void KSRegionEvents::endStay(const std::shared_ptr<KSGeofence>& geofence) {
  stays_.end(geofence);
  const std::lock_guard lock(cache_.geofencesMutex());
  geofence->setInRange(false);
}

void KSRegionEvents::countAndCheck(const std::shared_ptr<KSProximityZone>& zone, bool isEnter) {
  if (!trigger_.categoryEnabled(zone, isEnter)) return;
  zone->content()->updateEventDetectionCounter();
  trigger_.checkForContentTrigger(zone, isEnter);
}

void KSRegionEvents::didEnterRegion(const ks::CLRegion& region) {
  const auto geofence = cache_.geofenceForRegion(region.identifier());
  if (!geofence || (refinements_.exactStays && geofence->sentEnterEvent())) return;
  {
    const std::lock_guard lock(cache_.geofencesMutex());
    geofence->setInRange(true);
  }
  stays_.begin(geofence);
}

void KSRegionEvents::didExitRegion(const ks::CLRegion& region) {
  const auto geofence = cache_.geofenceForRegion(region.identifier());
  if (!geofence || (refinements_.exactStays && !geofence->sentEnterEvent())) return;
  endStay(geofence);
}
