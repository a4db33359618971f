#include "BeaconSDK/Platform/Location/Radio/BeaconRanging.h"

#include <algorithm>
#include <utility>

namespace ks {

namespace {

constexpr Seconds kPeriod{1};

bool isNearer(const CLBeacon& a, const CLBeacon& b) {
  const bool isKnown = a.accuracy.value >= 0;
  if (isKnown != (b.accuracy.value >= 0)) return isKnown;
  if (a.accuracy.value != b.accuracy.value) return a.accuracy.value < b.accuracy.value;
  return a.major != b.major ? a.major < b.major : a.minor < b.minor;
}

}  // namespace

void BeaconRanging::start(const std::shared_ptr<ManagerState>& manager,
                          std::shared_ptr<const CLBeaconRegion> region) {
  const auto same = [&, identifier = region->identifier()](const auto& ranged) {
    return ranged->manager == manager && ranged->region->identifier() == identifier;
  };
  table_.use(region->proximityUUID(), clock_.uptime());
  auto ranged = std::make_shared<Ranged>(Ranged{manager, std::move(region)});
  const auto found = std::find_if(ranged_.begin(), ranged_.end(), same);
  if (found != ranged_.end()) {
    end(**found);
    *found = std::move(ranged);
  } else {
    ranged_.push_back(std::move(ranged));
  }
  updateTimer();
}

void BeaconRanging::stop(const ManagerState& manager, const std::string& identifier) {
  stopIf([&](const Ranged& ranged) {
    return ranged.manager.get() == &manager && ranged.region->identifier() == identifier;
  });
}

void BeaconRanging::stopAll(const ManagerState& manager) {
  stopIf([&](const Ranged& ranged) { return ranged.manager.get() == &manager; });
}

template <class Predicate>
void BeaconRanging::stopIf(Predicate predicate) {
  std::erase_if(ranged_, [&](const auto& ranged) {
    if (!predicate(*ranged)) return false;
    end(*ranged);
    return true;
  });
  updateTimer();
}

void BeaconRanging::end(Ranged& ranged) {
  ranged.active = false;
  table_.release(ranged.region->proximityUUID(), clock_.uptime());
}

void BeaconRanging::setAllowed(bool allowed) {
  allowed_ = allowed;
  updateTimer();
}

void BeaconRanging::updateTimer() {
  if (!isWanted()) {
    timer_.cancel();
  } else if (!timer_.isArmed()) {
    nextTick_ = clock_.uptime() + kPeriod;
    timer_.arm(queue_, kPeriod, [this] { tick(); });
  }
}

void BeaconRanging::tick() {
  // Beats stay a second apart however long the callbacks take; missed beats are left out.
  const auto now = clock_.uptime();
  nextTick_ += kPeriod;
  if (nextTick_ <= now) nextTick_ = now + kPeriod;
  timer_.arm(queue_, nextTick_ - now, [this] { tick(); });
  const auto ranged = ranged_;
  for (const auto& entry : ranged) {
    if (!entry->active) continue;
    const auto beacons = beaconsIn(*entry->region);
    entry->manager->tell([&](auto& manager, auto& delegate) {
      delegate.didRangeBeacons(manager, beacons, entry->region);
    });
  }
}

std::vector<CLBeacon> BeaconRanging::beaconsIn(const CLBeaconRegion& region) const {
  const auto now = clock_.uptime();
  const auto uuid = region.proximityUUID();
  std::vector<CLBeacon> beacons;
  for (const auto& beacon : table_.find(uuid)->beacons()) {
    if (!beacon->isListed(now)) continue;
    if (!region.matches(uuid, beacon->major(), beacon->minor())) continue;
    beacons.push_back(beacon->ranged(uuid, now));
  }
  std::sort(beacons.begin(), beacons.end(), isNearer);
  return beacons;
}

}  // namespace ks
