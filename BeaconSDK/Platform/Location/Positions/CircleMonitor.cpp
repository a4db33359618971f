#include "BeaconSDK/Platform/Location/Positions/CircleMonitor.h"

#include <algorithm>
#include <cmath>

namespace ks {

void CircleMonitor::add(const std::shared_ptr<MonitoredRegion>& region) {
  index_.insert(region->id, region->circle->center(), region->circle->radius());
  radii_.insert(region->circle->radius());
  updateAttention(*region);
}

void CircleMonitor::remove(const MonitoredRegion& region) {
  index_.erase(region.id, region.circle->center(), region.circle->radius());
  radii_.erase(radii_.find(region.circle->radius()));
  attention_.erase(region.id);
}

void CircleMonitor::handleFix(const CLLocation& fix, Seconds now) {
  std::vector<std::uint64_t> ids(attention_.begin(), attention_.end());
  index_.around(fix.coordinate, ids);
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (const auto id : ids) {
    if (const auto region = book_.find(id)) consider(region, fix, now);
  }
}

void CircleMonitor::consider(const std::shared_ptr<MonitoredRegion>& region, const CLLocation& fix,
                             Seconds now) {
  using enum CLRegionState;
  const double uncertainty = fix.horizontalAccuracy.value;
  // Positive inside, negative outside.
  const double depth = region->circle->radius().value -
                       distanceBetween(region->circle->center(), fix.coordinate).value;
  const auto nominal = depth >= 0 ? inside : outside;
  if (region->candidate != nominal) region->candidate = unknown;
  const bool speaks = depth >= uncertainty || -depth > uncertainty;
  if (speaks && nominal == region->state) {
    if (!region->confirmed || !region->requesters.empty()) reports_.found(region, nominal);
  } else if (speaks) {
    const bool first = region->state == unknown && nominal == outside;
    const bool clear = std::abs(depth) >= kClearCrossing * uncertainty;
    if (region->candidate == unknown) region->candidateSince = now;
    region->candidate = nominal;
    if (first || clear || now - region->candidateSince >= kCrossingPatience) {
      reports_.found(region, nominal);
    }
  }
  if (region->watched) updateAttention(*region);
}

void CircleMonitor::updateAttention(const MonitoredRegion& region) {
  const bool needed = region.state == CLRegionState::inside ||
                      region.candidate != CLRegionState::unknown || !region.requesters.empty();
  if (needed) {
    attention_.insert(region.id);
  } else {
    attention_.erase(region.id);
  }
}

}  // namespace ks
