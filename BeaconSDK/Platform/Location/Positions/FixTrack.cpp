#include "BeaconSDK/Platform/Location/Positions/FixTrack.h"

#include <algorithm>
#include <cmath>

namespace ks {

namespace {

bool isValid(const CLLocation& fix) {
  const auto [latitude, longitude] = fix.coordinate;
  // Written so that NaN fails.
  return std::abs(latitude) <= 90 && std::abs(longitude) <= 180 &&
         fix.horizontalAccuracy.value >= 0 && std::isfinite(fix.horizontalAccuracy.value);
}

/// The clock that counts may have stood still while the device slept; the dates have not.
double elapsed(const TrackPoint& from, const TrackPoint& to) {
  return std::max(
      {(to.taken - from.taken).count(), secondsBetween(from.timestamp, to.timestamp), 1.0});
}

double way(const TrackPoint& from, const TrackPoint& to) {
  return distanceBetween(from.coordinate, to.coordinate).value;
}

double doubt(const TrackPoint& a, const TrackPoint& b) {
  return a.uncertainty.value + b.uncertainty.value;
}

}  // namespace

FixTrack::Finding FixTrack::offer(const CLLocation& fix, Seconds uptime, Date now) {
  if (!isValid(fix)) return {};
  learnPause(uptime);
  // Counted from now, so that a wall clock that was set changes no order.
  const Seconds age{std::max(0.0, secondsBetween(fix.timestamp, now))};
  const Metres uncertainty{fix.horizontalAccuracy.value + kUncertaintyGrowth * age.count()};
  const TrackPoint point{fix.coordinate, uncertainty, uptime - age, fix.timestamp};
  if (points_.empty()) return {Verdict::accepted, {accept(point)}};
  const auto& good = points_.back();
  if (point.coordinate == good.coordinate) {
    // Another date, not a later one: the wall clock may have been set back.
    const bool fresh = point.timestamp != good.timestamp && point.taken > good.taken;
    const bool denied = fresh && doubt_.has_value();
    if (fresh) {
      doubt_.reset();
      points_.back() = point;
    }
    return {Verdict::accepted,
            {{.from = {}, .to = point, .rest = rest(uptime), .repeated = true}},
            denied};
  }
  constexpr Seconds kRounding{1e-3};
  if (point.taken < good.taken - kRounding) return {};
  if (doubt_ && point.coordinate == doubt_->coordinate) return {doubtVerdict(*doubt_), {}};

  if (doubt_ && agreesWithDoubt(point)) {
    const auto step = accept(*doubt_);
    return {Verdict::accepted, {step, accept(point)}};
  }
  const bool denied = doubt_.has_value();
  if (isExpected(point)) return {Verdict::accepted, {accept(point)}, denied};
  doubt_ = point;
  return {doubtVerdict(point), {}, denied};
}

FixTrack::Verdict FixTrack::doubtVerdict(const TrackPoint& point) const {
  return isReachable(points_.back(), point, kFastestMove) ? Verdict::doubtful : Verdict::held;
}

std::optional<TrackStep> FixTrack::release() {
  if (!doubt_) return std::nullopt;
  return accept(*doubt_);
}

Seconds FixTrack::patience() const { return std::max(kLeastPatience, kPatientPauses * pause_); }

std::optional<TrackPoint> FixTrack::last(Seconds uptime) const {
  if (points_.empty()) return std::nullopt;
  auto point = points_.back();
  point.uncertainty.value += kUncertaintyGrowth * std::max(0.0, (uptime - point.taken).count());
  return point;
}

bool FixTrack::isReachable(const TrackPoint& from, const TrackPoint& to, double speed) const {
  return way(from, to) <= kSureRadius * doubt(from, to) + speed * elapsed(from, to);
}

bool FixTrack::isExpected(const TrackPoint& point) const {
  const auto& good = points_.back();
  const double seconds = elapsed(good, point);
  const double gain = kSpeedGain * std::min(seconds, kLongestGain.count());
  return isReachable(good, point, std::min(speed_ + gain / seconds, kFastestMove));
}

bool FixTrack::agreesWithDoubt(const TrackPoint& point) const {
  const auto& good = points_.back();
  if (way(*doubt_, point) > way(good, point)) return false;
  const double seen = way(good, *doubt_) / elapsed(good, *doubt_);
  return isReachable(*doubt_, point, std::clamp(seen, kMotorwaySpeed, kFastestMove));
}

TrackStep FixTrack::accept(TrackPoint point) {
  TrackStep step;
  step.to = point;
  doubt_.reset();
  if (!points_.empty()) {
    const auto from = points_.back();
    step.from = from;
    const double beyond = way(from, point) - doubt(from, point);
    speed_ = std::max(beyond, 0.0) / elapsed(from, point);
    while (points_.size() > 1 && elapsed(points_.front(), point) > kMotionWindow.count()) {
      points_.pop_front();
    }
    step.moving = !isReachable(points_.front(), point, 0) || !isReachable(from, point, 0);
  }
  if (step.moving || points_.empty()) movedAt_ = point.taken;
  step.rest = rest(point.taken);
  points_.push_back(point);
  return step;
}

void FixTrack::learnPause(Seconds uptime) {
  constexpr double kShare = 0.25;
  if (lastOffer_) {
    const Seconds gap = uptime - *lastOffer_;
    pause_ = pause_.count() == 0 ? gap : pause_ + kShare * (gap - pause_);
  }
  lastOffer_ = uptime;
}

}  // namespace ks
