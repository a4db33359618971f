#include "BeaconSDK/Platform/Location/Positions/FixGate.h"

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

}  // namespace

FixGate::Verdict FixGate::offer(const CLLocation& fix, Seconds uptime) {
  if (!isValid(fix)) return Verdict::rejected;
  const Timed offered{fix, uptime};
  const bool jumps = good_ && !isReachable(*good_, offered);
  if (jumps && !(held_ && isReachable(*held_, offered))) {
    held_ = offered;
    return Verdict::held;
  }
  good_ = offered;
  held_.reset();
  return Verdict::accepted;
}

std::optional<CLLocation> FixGate::release() {
  if (!held_) return std::nullopt;
  good_ = held_;
  held_.reset();
  return good_->fix;
}

bool FixGate::isReachable(const Timed& from, const Timed& to) {
  // The clock that counts may have stood still while the device slept; the dates have not.
  const double elapsed = std::max((to.uptime - from.uptime).count(),
                                  secondsBetween(from.fix.timestamp, to.fix.timestamp));
  const double uncertainty = from.fix.horizontalAccuracy.value + to.fix.horizontalAccuracy.value;
  const double way = distanceBetween(from.fix.coordinate, to.fix.coordinate).value;
  return way - uncertainty <= kFastestMove * std::max(elapsed, 1.0);
}

}  // namespace ks
