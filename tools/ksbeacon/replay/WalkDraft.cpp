#include "tools/ksbeacon/replay/WalkDraft.h"

#include <algorithm>

namespace ks::tool {

namespace {

/// Bounds the work on a long straight way.
constexpr std::size_t kMostPassed = 64;
/// A walker needs some seconds for `kBlur`.
constexpr Seconds kShortestStay{15};
constexpr double kSlowest = 0.01;
constexpr double kFastest = 1000;

CLLocationCoordinate2D between(const CLLocationCoordinate2D& from, const CLLocationCoordinate2D& to,
                               double share) {
  return {from.latitude + (to.latitude - from.latitude) * share,
          from.longitude + (to.longitude - from.longitude) * share};
}

}  // namespace

void WalkDraft::add(Seconds at, const CLLocationCoordinate2D& place, Metres accuracy) {
  if (stays_.empty()) {
    stays_.push_back({place, accuracy, Seconds{0}, at, {}});
    return;
  }
  Stay& last = stays_.back();
  if (distanceBetween(last.place, place) < kBlur) {
    last.left = at;
    return;
  }
  if (!isOnTheWay(at, place)) {
    stays_.push_back({place, accuracy, at, at, {}});
    return;
  }
  last.passed.emplace_back(last.came, last.place);
  last.place = place;
  last.accuracy = accuracy;
  last.came = last.left = at;
}

bool WalkDraft::isOnTheWay(Seconds at, const CLLocationCoordinate2D& place) const {
  const Stay& last = stays_.back();
  const bool isStay = last.left - last.came > kShortestStay;
  if (stays_.size() < 2 || isStay || last.passed.size() >= kMostPassed) return false;
  const Stay& before = stays_[stays_.size() - 2];
  const auto isNear = [&](Seconds moment, const CLLocationCoordinate2D& passed) {
    const double share = (moment - before.left) / (at - before.left);
    return distanceBetween(between(before.place, place, share), passed) < kBlur;
  };
  return isNear(last.came, last.place) && std::ranges::all_of(last.passed, [&](const auto& passed) {
           return isNear(passed.first, passed.second);
         });
}

std::vector<SimulatedWaypoint> WalkDraft::stops() const {
  std::vector<SimulatedWaypoint> stops;
  for (std::size_t i = 0; i < stays_.size(); ++i) {
    const Stay& stay = stays_[i];
    SimulatedWaypoint stop;
    stop.coordinate = stay.place;
    stop.accuracy = stay.accuracy;
    stop.pause = stay.left - stay.came;
    if (i > 0) {
      const double way = distanceBetween(stays_[i - 1].place, stay.place).value;
      const double time = std::max(0.001, (stay.came - stays_[i - 1].left).count());
      stop.speed = {std::clamp(way / time, kSlowest, kFastest)};
    }
    stops.push_back(stop);
  }
  return stops;
}

}  // namespace ks::tool
