#include "BeaconSDK/Platform/Location/Regions/RegionReports.h"

#include <utility>

namespace ks {

void RegionReports::found(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state) {
  const bool first = !region->confirmed;
  region->confirmed = true;
  region->state = state;
  if (state == region->reported && !(first && region->beacons)) {
    answer(region, state);
    return;
  }
  if (!managers_.hasDelegate()) {
    if (!std::exchange(region->reportWaits, true)) waiting_.push_back(region);
    return;
  }
  report(region);
}

void RegionReports::report(const std::shared_ptr<MonitoredRegion>& region) {
  const auto state = region->state;
  const auto before = std::exchange(region->reported, state);
  if (before != state) stateChanged_(*region);
  const bool enters = state == CLRegionState::inside && before != CLRegionState::inside;
  const bool leaves = state == CLRegionState::outside && before == CLRegionState::inside;
  const auto& place = region->region;
  const bool silent = (enters && !place->notifyOnEntry()) || (leaves && !place->notifyOnExit());
  if (silent || (region->circle && !enters && !leaves)) {
    answer(region, state);
    return;
  }
  remind(region);
  for (const auto& manager : managers_.all()) {
    if (!region->watched) return;
    manager->tell([&](auto& service, auto& delegate) {
      if (enters) delegate.didEnterRegion(service, place);
      if (leaves) delegate.didExitRegion(service, place);
    });
  }
}

void RegionReports::remind(const std::shared_ptr<MonitoredRegion>& region) {
  region->requesters.clear();
  region->requestTimeout.cancel();
  const auto state = region->state;
  for (const auto& manager : managers_.all()) {
    if (!region->watched) return;
    manager->tell([&](auto& service, auto& delegate) {
      delegate.didDetermineState(service, state, region->region);
    });
  }
}

void RegionReports::answer(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state) {
  region->requestTimeout.cancel();
  for (const auto& requester : std::exchange(region->requesters, {})) {
    if (!region->watched) return;
    if (const auto manager = requester.lock()) {
      manager->tell([&](auto& service, auto& delegate) {
        delegate.didDetermineState(service, state, region->region);
      });
    }
  }
}

void RegionReports::flush() {
  for (const auto& region : std::exchange(waiting_, {})) {
    region->reportWaits = false;
    if (region->watched) report(region);
  }
}

}  // namespace ks
