#include "BeaconSDK/Platform/Location/Positions/LocationUpdates.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/LocationErrors.h"

namespace ks {

namespace {

/// Takes the new place when it is at least `least` away from the old one.
bool moves(std::optional<CLLocationCoordinate2D>& from, CLLocationCoordinate2D to, Metres least) {
  if (from && distanceBetween(*from, to) < least) return false;
  from = to;
  return true;
}

}  // namespace

void LocationUpdates::handleFix(const CLLocation& fix) {
  last_ = fix;
  lastUptime_ = clock_.uptime();
  const auto significant = std::max(kSignificantChange, fix.horizontalAccuracy);
  for (const auto& manager : managers_.all()) {
    bool wanted = std::exchange(manager->wantsOneFix, false);
    manager->oneFixTimeout.cancel();
    if (manager->wantsUpdates) {
      wanted |= moves(manager->lastUpdate, fix.coordinate, manager->distanceFilter);
    }
    if (manager->wantsSignificantChanges) {
      wanted |= moves(manager->lastSignificantChange, fix.coordinate, significant);
    }
    if (!wanted) continue;
    manager->tell(
        [&](auto& service, auto& delegate) { delegate.didUpdateLocations(service, {fix}); });
  }
}

void LocationUpdates::fail(const Error& error) {
  for (const auto& manager : managers_.all()) {
    const bool waited = std::exchange(manager->wantsOneFix, false);
    manager->oneFixTimeout.cancel();
    if (!waited && !manager->wantsUpdates) continue;
    manager->tell(
        [&](auto& service, auto& delegate) { delegate.didFailWithError(service, error); });
  }
}

void LocationUpdates::requestOne(const std::shared_ptr<ManagerState>& manager) {
  manager->wantsOneFix = true;
  const bool fresh = last_ && clock_.uptime() - lastUptime_ <= kFreshFix;
  const auto delay = fresh ? Seconds{0} : kOneFixTimeout;
  // The timer ends with the manager's state.
  auto* state = manager.get();
  state->oneFixTimeout.arm(queue_, delay, [this, state, fresh] {
    state->wantsOneFix = false;
    demandChanged_();
    state->tell([&](auto& service, auto& delegate) {
      if (fresh) {
        delegate.didUpdateLocations(service, {*last_});
      } else {
        delegate.didFailWithError(service, locationError(CLErrorCode::locationUnknown));
      }
    });
  });
}

std::optional<PositionWish> LocationUpdates::wish() const {
  std::optional<PositionWish> wanted;
  for (const auto& manager : managers_.all()) {
    if (manager->wantsUpdates || manager->wantsOneFix)
      return PositionWish{kBestAccuracy, Seconds{1}};
    if (manager->wantsSignificantChanges) wanted = {kSignificantChange, kSignificantInterval};
  }
  return wanted;
}

}  // namespace ks
