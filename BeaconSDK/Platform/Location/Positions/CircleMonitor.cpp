#include "BeaconSDK/Platform/Location/Positions/CircleMonitor.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ks {

namespace {

// What is taken from each piece of evidence that adds up, so that noise on a border does not.
constexpr double kAllowance = 0.25;
// The nearest border is looked for again after this share of the way to it.
constexpr double kSurroundingsShare = 0.25;

/// Positive inside, negative outside.
Metres depthAt(const CLCircularRegion& circle, CLLocationCoordinate2D place) {
  return {circle.radius().value - distanceBetween(circle.center(), place).value};
}

/// How much evidence a moving device needs: none when it gets farther between two fixes than both
/// may be wrong, 1 when it hardly moves.
double need(const TrackStep& step) {
  if (!step.moving || !step.from) return 1;
  const double way = distanceBetween(step.from->coordinate, step.to.coordinate).value;
  const double doubt = step.from->uncertainty.value + step.to.uncertainty.value;
  return way >= doubt ? 0 : 1 - way / doubt;
}

bool pathCounts(const TrackStep& step) {
  return need(step) == 0 && step.to.taken - step.from->taken <= kLongestPath;
}

/// The depth of the innermost point of the way, where that is neither end.
std::optional<Metres> depthOnPath(const CLCircularRegion& circle, const TrackStep& step) {
  constexpr double kRadian = std::numbers::pi / 180;
  const auto center = circle.center();
  const double shrink = std::cos(center.latitude * kRadian);
  const auto north = [&](CLLocationCoordinate2D place) { return place.latitude - center.latitude; };
  const auto east = [&](CLLocationCoordinate2D place) {
    return std::remainder(place.longitude - center.longitude, 360.0) * shrink;
  };
  const double x = east(step.from->coordinate), y = north(step.from->coordinate);
  const double dx = east(step.to.coordinate) - x, dy = north(step.to.coordinate) - y;
  const double share = -(x * dx + y * dy) / (dx * dx + dy * dy);
  if (!(share > 0 && share < 1)) return std::nullopt;
  const double degrees = std::hypot(x + share * dx, y + share * dy);
  return Metres{circle.radius().value - degrees * kRadian * kMeanEarthRadius.value};
}

CLRegionState sideOf(Metres depth) {
  return depth.value >= 0 ? CLRegionState::inside : CLRegionState::outside;
}

bool speaks(Metres depth, Metres uncertainty) {
  return depth >= uncertainty || -depth.value > uncertainty.value;
}

bool isClear(Metres depth, Metres uncertainty) {
  return std::abs(depth.value) >= kClearCrossing * uncertainty.value;
}

/// Of an inside or outside by so much.
double weightOf(Metres depth, const TrackStep& step) {
  return std::abs(depth.value) / std::max(step.to.uncertainty.value, 1.0);
}

}  // namespace

void CircleMonitor::add(const std::shared_ptr<MonitoredRegion>& region) {
  index_.insert(region->id, region->circle->center(), region->circle->radius());
  ++count_;
  surroundings_.reset();
  updateAttention(*region);
}

void CircleMonitor::remove(const MonitoredRegion& region) {
  index_.erase(region.id, region.circle->center(), region.circle->radius());
  --count_;
  surroundings_.reset();
  attention_.erase(region.id);
  pending_.erase(region.id);
  vague_.erase(region.id);
}

void CircleMonitor::handleStep(const TrackStep& step, Seconds now) {
  auto& ids = touched_;
  ids.assign(attention_.begin(), attention_.end());
  if (pathCounts(step)) {
    index_.along(step.from->coordinate, step.to.coordinate, ids);
  } else {
    index_.around(step.to.coordinate, ids);
  }
  if (!step.repeated) recent_.push_back(step.to.coordinate);
  if (recent_.size() > kMostRecent) recent_.pop_front();
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (const auto id : ids) {
    if (const auto region = book_.find(id)) consider(region, step, now);
  }
}

void CircleMonitor::consider(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step,
                             Seconds now) {
  const auto& circle = *region->circle;
  if (region->state != CLRegionState::inside && step.to.uncertainty <= circle.radius() &&
      pathCounts(step)) {
    const auto depth = depthOnPath(circle, step);
    if (depth && depth->value >= 0) cross(region, CLRegionState::inside);
  }
  if (region->watched) judge(region, step, depthAt(circle, step.to.coordinate), now);
  if (region->watched) updateAttention(*region);
}

void CircleMonitor::judge(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step,
                          Metres depth, Seconds now) {
  const auto uncertainty = step.to.uncertainty;
  const auto side = sideOf(depth);
  if (passes(*region, step, depth)) {
    cross(region, CLRegionState::inside);
    return;
  }
  if (side == region->state) {
    stay(region, step, depth);
    return;
  }
  if (side == CLRegionState::inside && uncertainty > region->circle->radius()) {
    if (!step.repeated) noteVague(*region, uncertainty);
    return;
  }
  auto& evidence = pending_[region->id];
  if (!step.repeated || evidence.speaking == 0) {
    evidence.weight += std::max(0.0, weightOf(depth, step) - kAllowance * need(step));
    if (speaks(depth, uncertainty) && evidence.speaking++ == 0) evidence.since = now;
  }
  if (isDecided(*region, evidence, step, depth, now)) cross(region, side);
}

bool CircleMonitor::passes(const MonitoredRegion& region, const TrackStep& step,
                           Metres depth) const {
  const double uncertainty = step.to.uncertainty.value;
  if (!step.moving || region.state == CLRegionState::inside ||
      uncertainty > region.circle->radius().value) {
    return false;
  }
  if (depth.value >= uncertainty) return true;
  if (depth.value < 0 && !pending_.contains(region.id)) return false;
  bool inside = false;
  double spare = 0;
  for (const auto& place : recent_) {
    if (distanceBetween(place, step.to.coordinate).value > kPassingReach * uncertainty) continue;
    const double there = depthAt(*region.circle, place).value;
    inside = inside || there >= 0;
    spare += there + kPassingDoubt * uncertainty;
  }
  return inside && spare >= 0;
}

bool CircleMonitor::isDecided(const MonitoredRegion& region, const Evidence& evidence,
                              const TrackStep& step, Metres depth, Seconds now) const {
  const bool leaves = region.state == CLRegionState::inside;
  if (leaves && step.moving && evidence.weight >= kMovingEvidence * need(step)) return true;
  if (!speaks(depth, step.to.uncertainty)) return false;
  const bool clear = isClear(depth, step.to.uncertainty);
  // There is no stay that a first fix could undo.
  const bool first = region.state == CLRegionState::unknown && depth.value < 0;
  if (!region.confirmed && (first || clear)) return true;
  const auto waited = now - evidence.since;
  const auto patience = std::clamp(kPatienceShare * step.rest, kCrossingPatience, kLongestPatience);
  return (evidence.speaking >= 2 && (clear || waited >= patience)) ||
         waited >= std::max(patience, kRepeatPatience);
}

void CircleMonitor::stay(const std::shared_ptr<MonitoredRegion>& region, const TrackStep& step,
                         Metres depth) {
  const auto found = pending_.find(region->id);
  if (found != pending_.end()) {
    auto& evidence = found->second;
    evidence.weight -= weightOf(depth, step);
    evidence.speaking = 0;
    const double least = region->state == CLRegionState::inside ? 0 : -kGivenUp;
    if (!step.moving || evidence.weight <= least) pending_.erase(found);
  }
  const bool asked = !region->confirmed || !region->requesters.empty();
  if (asked && speaks(depth, step.to.uncertainty)) reports_.found(region, region->state);
}

void CircleMonitor::cross(const std::shared_ptr<MonitoredRegion>& region, CLRegionState state) {
  pending_.erase(region->id);
  reports_.found(region, state);
}

void CircleMonitor::noteVague(const MonitoredRegion& region, Metres uncertainty) {
  if (++vague_[region.id] == kVagueVisits) tooSmall_(*region.circle, uncertainty);
}

void CircleMonitor::updateAttention(const MonitoredRegion& region) {
  const bool needed = region.state == CLRegionState::inside || pending_.contains(region.id) ||
                      !region.requesters.empty();
  if (needed) {
    attention_.insert(region.id);
  } else {
    attention_.erase(region.id);
  }
}

NearestBorder CircleMonitor::nearestBorder(CLLocationCoordinate2D place) const {
  if (surroundings_) {
    const auto moved = distanceBetween(surroundings_->place, place);
    auto border = surroundings_->border;
    if (moved.value <= kSurroundingsShare * border.distance.value) {
      border.distance.value -= moved.value;
      return border;
    }
  }
  NearestBorder nearest{kFarthestBorder, kFarthestBorder};
  const auto look = [&](std::uint64_t id) {
    const auto region = book_.find(id);
    if (!region) return nearest.distance;
    const double depth = depthAt(*region->circle, place).value;
    if (std::abs(depth) < nearest.distance.value) {
      nearest = {{std::abs(depth)}, region->circle->radius()};
    }
    return nearest.distance;
  };
  index_.nearest(place, nearest.distance, look);
  surroundings_ = {place, nearest};
  return nearest;
}

}  // namespace ks
