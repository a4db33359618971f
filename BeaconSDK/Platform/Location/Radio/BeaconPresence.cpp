#include "BeaconSDK/Platform/Location/Radio/BeaconPresence.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks {

namespace {

// A timer this late means that the whole device was asleep and heard nothing.
constexpr Seconds kOversleep{5};
// What a timer may miss its time by: nearer than this, a deadline counts as reached.
constexpr Seconds kTimerGrain{0.001};

/// Steps of a factor of two, so that what is saved changes rarely.
Seconds savedLimit(Seconds limit) {
  Seconds step = kLeastSilence;
  while (step < limit) step *= 2;
  return std::min(step, kLongestSilence);
}

}  // namespace

BeaconPresence::BeaconPresence(Clock& clock, DispatchQueue& queue, BeaconTable& table,
                               const RegionRegistry& book, RegionReports& reports,
                               std::function<void()> limitChanged)
    : clock_(clock),
      queue_(queue),
      table_(table),
      book_(book),
      reports_(reports),
      limitChanged_(std::move(limitChanged)) {}

void BeaconPresence::add(MonitoredRegion& region) {
  ++regions_;
  table_.use(region.beacons->proximityUUID(), clock_.uptime()).watch(region);
  if (listening_) listen(region);
}

void BeaconPresence::remove(MonitoredRegion& region) {
  --regions_;
  region.silence.cancel();
  const auto uuid = region.beacons->proximityUUID();
  table_.find(uuid)->unwatch(region);
  table_.release(uuid, clock_.uptime());
}

void BeaconPresence::heard(const std::vector<MonitoredRegion*>& regions, Dbm rssi, Seconds time) {
  std::vector<std::uint64_t> news;
  for (auto* region : regions) {
    const bool isInside = region->confirmed && region->state == CLRegionState::inside;
    if (!isInside && !isEvidence(*region, rssi, time)) continue;
    region->heard = std::max(region->heard, time);
    if (!isInside) news.push_back(region->id);
  }
  // Callbacks may end the monitoring of regions that come later.
  for (const auto id : news) {
    const auto region = book_.find(id);
    if (!region) continue;
    const auto now = clock_.uptime();
    if (!region->silence.isArmed()) arm(*region, now, kLeastSilence);
    reports_.found(region, CLRegionState::inside);
  }
}

bool BeaconPresence::isEvidence(MonitoredRegion& region, Dbm rssi, Seconds time) {
  if (isUsable(rssi) && rssi >= kStrongPacket) return true;
  const auto gap = region.heardWeak ? time - *region.heardWeak : kWeakMemory;
  if (gap < kSamePacket) return false;
  region.heardWeak = time;
  return gap < kWeakMemory;
}

void BeaconPresence::setListening(bool listening) {
  if (std::exchange(listening_, listening) == listening) return;
  table_.interrupt();
  for (const auto& [id, region] : book_.all()) {
    if (!region->beacons) continue;
    if (listening) {
      listen(*region);
    } else {
      region->silence.cancel();
    }
  }
}

void BeaconPresence::listen(MonitoredRegion& region) {
  const bool outside = region.confirmed && region.state == CLRegionState::outside;
  region.heard = clock_.uptime();
  if (!outside) arm(region, region.heard, kLeastSilence);
}

void BeaconPresence::arm(MonitoredRegion& region, Seconds now, Seconds delay) {
  const auto due = now + delay;
  region.silence.arm(queue_, delay, [this, &region, due] { look(region, due); });
}

void BeaconPresence::look(MonitoredRegion& region, Seconds due) {
  const auto now = clock_.uptime();
  if (now - due > kOversleep) {
    region.heard = now;
    table_.interrupt();
  }
  const auto end = deadline(region);
  if (now + kTimerGrain < end) {
    // A packet that comes meanwhile moves the deadline to 30 s after it or later: looking again
    // after 30 s is never too late.
    arm(region, now, std::min(end - now, kLeastSilence));
    return;
  }
  region.heardWeak.reset();
  if (const auto shared = book_.find(region.id)) reports_.found(shared, CLRegionState::outside);
}

Seconds BeaconPresence::deadline(MonitoredRegion& region) {
  auto end = region.heard + kLeastSilence;
  Seconds longest = kLeastSilence;
  bool learned = false;
  const auto& group = *table_.find(region.beacons->proximityUUID());
  for (const auto& beacon : group.beacons()) {
    if (!region.beacons->matches(region.beacons->proximityUUID(), beacon->major(),
                                 beacon->minor())) {
      continue;
    }
    const auto limit = beacon->gaps().silenceLimit();
    end = std::max(end, beacon->lastHeard() + limit);
    if (!beacon->gaps().meanGap()) continue;
    learned = true;
    longest = std::max(longest, limit);
  }
  // What earlier runs have learned holds until this run knows better.
  if (!learned) return std::max(end, region.heard + region.silenceLimit);
  if (std::exchange(region.silenceLimit, savedLimit(longest)) != region.silenceLimit) {
    limitChanged_();
  }
  return end;
}

}  // namespace ks
