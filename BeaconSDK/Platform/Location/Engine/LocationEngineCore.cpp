#include "BeaconSDK/Platform/Location/Engine/LocationEngineCore.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/Engine/LocationNotices.h"
#include "BeaconSDK/Platform/Location/LocationErrors.h"
#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks {

namespace {

// Before the first fix nobody knows how near a circle is.
constexpr Metres kCoarsestForCircles{100};
constexpr Seconds kSoonest{1};

}  // namespace

LocationEngineCore::LocationEngineCore(Clock& clock, DispatchQueue& queue,
                                       LocationStateStore& store, LocationDemandListener& listener)
    : clock_(clock),
      queue_(queue),
      listener_(listener),
      keeper_(clock, queue, store, book_,
              [this] {
                const auto count = ++counters.failedSaves;
                if (isWorthTelling(count)) notice(failedSaveText(count));
              }),
      reports_(managers_, [this](const auto& region) { keeper_.stateChanged(region); }),
      circles_(book_, reports_,
               [this](const auto& circle, Metres uncertainty) {
                 ++counters.tooSmallCircles;
                 notice(tooSmallText(circle, uncertainty));
               }),
      presence_(clock, queue, table_, book_, reports_, [this] { keeper_.listChanged(); }),
      ranging_(clock, queue, table_),
      updates_(clock, queue, managers_, [this] { demandMayHaveChanged(); }) {}

void LocationEngineCore::restore() {
  keeper_.restore([this](const auto& region) { insert(region); });
}

void LocationEngineCore::close() {
  closed_ = true;
  keeper_.close();
  for (const auto& manager : managers_.all()) {
    manager->oneFixTimeout.cancel();
    manager->delegate = nullptr;
  }
  for (const auto& [id, region] : book_.all()) {
    region->watched = false;
    region->silence.cancel();
    region->requestTimeout.cancel();
  }
  ranging_.setAllowed(false);
  doubtTimeout_.cancel();
}

template <class Work>
void LocationEngineCore::post(Work work) {
  queue_.async([weak = weak_from_this(), work = std::move(work)] {
    if (const auto core = weak.lock()) work(*core);
  });
}

void LocationEngineCore::removeManager(const std::shared_ptr<ManagerState>& manager) {
  manager->oneFixTimeout.cancel();
  ranging_.stopAll(*manager);
  managers_.remove(*manager);
  demandMayHaveChanged();
}

void LocationEngineCore::delegateChanged(const ManagerState& manager) {
  if (manager.delegate == nullptr) return;
  post([](LocationEngineCore& core) {
    if (core.managers_.hasDelegate()) core.reports_.flush();
  });
}

void LocationEngineCore::wishesChanged(const std::shared_ptr<ManagerState>& manager) {
  const bool refused = authorization == CLAuthorizationStatus::denied ||
                       authorization == CLAuthorizationStatus::restricted;
  if (refused && (manager->wantsUpdates || manager->wantsSignificantChanges)) {
    post([manager](LocationEngineCore&) {
      manager->tell([](auto& service, auto& delegate) {
        delegate.didFailWithError(service, locationError(CLErrorCode::denied));
      });
    });
  }
  demandMayHaveChanged();
}

void LocationEngineCore::requestLocation(const std::shared_ptr<ManagerState>& manager) {
  if (authorization == CLAuthorizationStatus::denied ||
      authorization == CLAuthorizationStatus::restricted) {
    post([manager](LocationEngineCore&) {
      manager->tell([](auto& service, auto& delegate) {
        delegate.didFailWithError(service, locationError(CLErrorCode::denied));
      });
    });
    return;
  }
  updates_.requestOne(manager);
  demandMayHaveChanged();
}

bool LocationEngineCore::canMonitor(const CLRegion* region) const {
  if (region == nullptr || !isMonitorable(*region)) return false;
  return positioning || dynamic_cast<const CLCircularRegion*>(region) == nullptr;
}

void LocationEngineCore::startMonitoring(const std::shared_ptr<ManagerState>& manager,
                                         std::shared_ptr<const CLRegion> region) {
  if (!mayMonitor() || !canMonitor(region.get())) {
    const auto code =
        mayMonitor() ? CLErrorCode::regionMonitoringFailure : CLErrorCode::regionMonitoringDenied;
    post([manager, region, code](LocationEngineCore&) {
      manager->tell([&](auto& service, auto& delegate) {
        delegate.monitoringDidFailForRegion(service, region, locationError(code));
      });
    });
    return;
  }
  const auto watched = watch(std::move(region));
  post([manager, watched](LocationEngineCore& core) { core.monitoringBegan(manager, watched); });
  keeper_.listChanged();
  demandMayHaveChanged();
}

std::shared_ptr<MonitoredRegion> LocationEngineCore::watch(std::shared_ptr<const CLRegion> region) {
  auto fresh = std::make_shared<MonitoredRegion>();
  fresh->setRegion(std::move(region));
  if (auto known = book_.find(fresh->region->identifier())) {
    if (haveSameShape(*known, *fresh)) {
      known->setRegion(fresh->region);
      return known;
    }
    unwatch(known);
  }
  insert(fresh);
  return fresh;
}

void LocationEngineCore::insert(const std::shared_ptr<MonitoredRegion>& region) {
  book_.add(region);
  if (region->circle) {
    circles_.add(region);
  } else {
    presence_.add(*region);
  }
}

void LocationEngineCore::unwatch(const std::shared_ptr<MonitoredRegion>& region) {
  region->watched = false;
  region->requestTimeout.cancel();
  if (region->circle) {
    circles_.remove(*region);
  } else {
    presence_.remove(*region);
  }
  book_.remove(*region);
}

void LocationEngineCore::monitoringBegan(const std::shared_ptr<ManagerState>& manager,
                                         const std::shared_ptr<MonitoredRegion>& region) {
  if (!region->watched) return;
  // A beacon region's state is told without being asked for, as soon as it is known.
  if (region->beacons && region->confirmed) region->requesters.push_back(manager);
  manager->tell([&](auto& service, auto& delegate) {
    delegate.didStartMonitoringForRegion(service, region->region);
  });
  if (!region->watched) return;
  if (region->circle) considerLast(region);
  settle(region);
}

void LocationEngineCore::stopMonitoring(const std::string& identifier) {
  const auto region = book_.find(identifier);
  if (!region) return;
  unwatch(region);
  keeper_.listChanged();
  demandMayHaveChanged();
}

void LocationEngineCore::requestState(const std::shared_ptr<ManagerState>& manager,
                                      const std::string& identifier) {
  const auto region = book_.find(identifier);
  if (!region) return;
  auto& requesters = region->requesters;
  const bool asked = std::any_of(requesters.begin(), requesters.end(), [&](const auto& requester) {
    return requester.lock() == manager;
  });
  if (!asked) requesters.push_back(manager);
  region->requestTimeout.arm(queue_, kStateRequestTimeout, [this, weak = std::weak_ptr(region)] {
    if (const auto open = weak.lock()) reports_.answer(open, CLRegionState::unknown);
  });
  post([region](LocationEngineCore& core) { core.settle(region); });
}

void LocationEngineCore::settle(const std::shared_ptr<MonitoredRegion>& region) {
  if (!region->watched || region->requesters.empty()) return;
  if (region->confirmed) {
    reports_.answer(region, region->state);
  } else if (region->circle) {
    circles_.attend(*region);
    considerLast(region);
  }
}

void LocationEngineCore::considerLast(const std::shared_ptr<MonitoredRegion>& region) {
  const auto now = clock_.uptime();
  if (const auto last = track_.last(now)) {
    circles_.consider(region, {.from = {}, .to = *last, .rest = track_.rest(now), .repeated = true},
                      now);
  }
}

void LocationEngineCore::startRanging(const std::shared_ptr<ManagerState>& manager,
                                      std::shared_ptr<const CLBeaconRegion> region) {
  if (!region) return;
  ranging_.start(manager, std::move(region));
  demandMayHaveChanged();
}

void LocationEngineCore::stopRanging(const ManagerState& manager, const std::string& identifier) {
  ranging_.stop(manager, identifier);
  demandMayHaveChanged();
}

bool LocationEngineCore::isAuthorized() const {
  return mayMonitor() || authorization == CLAuthorizationStatus::authorizedWhenInUse;
}

void LocationEngineCore::setAuthorizationStatus(CLAuthorizationStatus status) {
  if (authorization.exchange(status) == status) return;
  updateListening();
  demandMayHaveChanged();
  post([status](LocationEngineCore& core) {
    for (const auto& manager : core.managers_.all()) {
      manager->tell([&](auto& service, auto& delegate) {
        delegate.didChangeAuthorizationStatus(service, status);
      });
    }
    if (status == CLAuthorizationStatus::denied || status == CLAuthorizationStatus::restricted) {
      core.updates_.fail(locationError(CLErrorCode::denied));
      core.demandMayHaveChanged();
    }
  });
}

void LocationEngineCore::setBeaconScanningAvailable(bool available) {
  scanning = available;
  updateListening();
  demandMayHaveChanged();
}

void LocationEngineCore::setBeaconScanningPaused(bool paused) {
  scanningPaused_ = paused;
  updateListening();
}

void LocationEngineCore::updateListening() {
  presence_.setListening(scanning && !scanningPaused_ && mayMonitor());
  ranging_.setAllowed(isAuthorized());
}

void LocationEngineCore::handleBeacon(BeaconPacket packet) {
  auto* group = table_.find(packet.frame.proximityUUID);
  if (group == nullptr || !isAuthorized()) return;
  ++counters.matchedBeacons;
  if (!isPlausiblePower(packet.frame.measuredPower) && isWorthTelling(++counters.replacedPowers)) {
    notice(replacedPowerText(packet.frame, counters.replacedPowers));
  }
  const auto now = clock_.uptime();
  packet.time = now - std::max(packet.time, Seconds{0});
  if (isUsable(packet.rssi)) packet.rssi.value -= gain_.value;
  auto* beacon = group->heard(packet, now);
  counters.evictedBeacons += group->takeEvictions();
  if (beacon == nullptr) {
    const auto count = ++counters.untrackedBeacons;
    if (isWorthTelling(count)) notice(untrackedText(packet.frame, count));
  } else if (beacon->foundShared()) {
    ++counters.sharedIdentities;
    notice(sharedIdentityText(packet.frame));
  }
  if (!presence_.isListening()) return;
  if (beacon != nullptr) {
    presence_.heard(group->regionsOf(*beacon), packet.rssi, packet.time);
  } else {
    presence_.heard(group->regionsOf(packet.frame), packet.rssi, packet.time);
  }
}

void LocationEngineCore::handleFix(const CLLocation& fix) {
  using enum FixTrack::Verdict;
  ++counters.fixes;
  if (!isAuthorized()) return;
  const auto finding = track_.offer(fix, clock_.uptime(), clock_.now());
  if (finding.denied || finding.verdict == rejected) ++counters.rejectedFixes;
  if (finding.verdict == rejected) return;
  if (finding.verdict == doubtful || !track_.isDoubtful()) held_.reset();
  if (finding.verdict == held) {
    held_ = fix;
  } else {
    updates_.handleFix(fix);
  }
  if (!track_.isDoubtful()) {
    doubtTimeout_.cancel();
  } else if (!doubtTimeout_.isArmed()) {
    doubtTimeout_.arm(queue_, track_.patience(), [this] {
      const auto step = track_.release();
      if (!step || !isAuthorized()) return;
      if (held_) updates_.handleFix(*std::exchange(held_, std::nullopt));
      handleSteps({*step});
    });
  }
  handleSteps(finding.steps);
}

void LocationEngineCore::notice(std::string text) {
  post([text = std::move(text)](LocationEngineCore& core) { core.listener_.noticed(text); });
}

void LocationEngineCore::handleSteps(const std::vector<TrackStep>& steps) {
  for (const auto& step : steps) {
    if (mayMonitor()) circles_.handleStep(step, clock_.uptime());
  }
  demandMayHaveChanged();
}

void LocationEngineCore::positionFailed(const Error& error) {
  if (!isAuthorized()) return;
  updates_.fail(error);
  demandMayHaveChanged();
}

void LocationEngineCore::handleDisplayOn() {
  std::vector<std::shared_ptr<MonitoredRegion>> inside;
  for (const auto& [id, region] : book_.all()) {
    const bool wanted = region->beacons && region->beacons->notifyEntryStateOnDisplay();
    if (wanted && region->confirmed && region->state == CLRegionState::inside) {
      inside.push_back(region);
    }
  }
  // Callbacks may end the monitoring of regions that come later.
  for (const auto& region : inside) {
    if (region->watched) reports_.remind(region);
  }
}

LocationDemand LocationEngineCore::demand() const {
  LocationDemand demand;
  if (advertisementListener_) demand.beaconScan = LocationDemand::BeaconScan::ranging;
  if (!isAuthorized()) return demand;
  if (const auto wish = updates_.wish()) {
    demand.positionAccuracy = wish->accuracy;
    demand.positionInterval = wish->interval;
  }
  if (mayMonitor() && !circles_.isEmpty()) {
    const auto wish = circleWish();
    demand.positionInterval =
        demand.positionAccuracy ? std::min(demand.positionInterval, wish.interval) : wish.interval;
    demand.positionAccuracy =
        std::min(demand.positionAccuracy.value_or(wish.accuracy), wish.accuracy);
  }
  if (ranging_.isWanted()) {
    demand.beaconScan = LocationDemand::BeaconScan::ranging;
  } else if (!advertisementListener_ && mayMonitor() && presence_.hasRegions()) {
    demand.beaconScan = LocationDemand::BeaconScan::monitoring;
  }
  return demand;
}

PositionWish LocationEngineCore::circleWish() const {
  const auto now = clock_.uptime();
  const auto last = track_.last(now);
  if (!last) return {kCoarsestForCircles, kSoonest};
  auto wish =
      positionWish(circles_.nearestBorder(last->coordinate), track_.speed(), track_.rest(now));
  if (track_.isDoubtful() || circles_.isUndecided())
    wish = {std::min(wish.accuracy, kBestAccuracy), kSoonest};
  return wish;
}

void LocationEngineCore::setAdvertisementListener(AdvertisementListener listener) {
  advertisementListener_ = std::move(listener);
  demandMayHaveChanged();
}

void LocationEngineCore::demandMayHaveChanged() {
  if (demandPosted_ || demand() == told_) return;
  demandPosted_ = true;
  post([](LocationEngineCore& core) {
    core.demandPosted_ = false;
    if (core.closed_) return;
    const auto demand = core.demand();
    if (demand == core.told_) return;
    core.told_ = demand;
    core.listener_.locationDemandChanged(demand);
  });
}

}  // namespace ks
