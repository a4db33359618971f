#include "BeaconSDK/Platform/Location/Radio/BorderRule.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks {

namespace {

// Beyond a border by so many dB and standard deviations the estimate has crossed it at once.
struct Margin {
  double db;
  double deviations;
};
constexpr Margin kStandingMargin{3, 1};
constexpr Margin kMovingMargin{1, 0.7};
// What the sum passes over: noise that wanders about the border.
constexpr Margin kDeadZone{0.5, 0.5};
// The sum that crosses, in dB s.
constexpr double kCrossingSum = 10;
// After a change without movement the margin grows by so many dB, and the sum so many times.
constexpr double kSettledMarginDb = 3.5;
constexpr double kSettledSums = 15;
// A departure that is taken back within this time was somebody who stood in between, and others
// may for so long after the last one. A device that goes and returns takes longer, mostly.
constexpr Seconds kPassing{40};
constexpr Seconds kWariness{3600};
// One packet speaks for at most this long: a slow beacon's noise is not proof by lasting.
constexpr Seconds kLongestWeight{2};

double width(Margin margin, double deviationDb) {
  return margin.db + margin.deviations * deviationDb;
}

/// The losses between which a band lies.
std::pair<double, double> bordersOf(CLProximity band) {
  static const double kImmediateLoss = lossAtDb(kImmediateBorder);
  static const double kNearLoss = lossAtDb(kNearBorder);
  constexpr double kNone = std::numeric_limits<double>::infinity();
  if (band == CLProximity::immediate) return {-kNone, kImmediateLoss};
  if (band == CLProximity::near) return {kImmediateLoss, kNearLoss};
  return {kNearLoss, kNone};
}

}  // namespace

void BorderRule::observe(Seconds time, const SignalEstimate& estimate) {
  const auto elapsed = time - std::exchange(last_, time);
  if (!certain_) {
    begin(time, estimate);
    return;
  }
  const auto [inner, outer] = bordersOf(band_);
  const bool outwards = estimate.lossDb - outer > inner - estimate.lossDb;
  const double excess = outwards ? estimate.lossDb - outer : inner - estimate.lossDb;
  if (std::exchange(outwards_, outwards) != outwards) sum_ = 0;
  const bool wary = outwards && time < waryUntil_;
  if (wary && estimate.isMoving) waryUntil_ = time + kWariness;
  if (crosses(estimate, excess, std::min(elapsed, kLongestWeight).count(), wary)) {
    change(time, estimate.lossDb);
  }
}

bool BorderRule::crosses(const SignalEstimate& estimate, double excess, double seconds, bool wary) {
  const bool moves = estimate.isMoving && !wary;
  if (moves) settled_ = false;
  const bool hard = settled_ || wary;
  const double margin = width(moves ? kMovingMargin : kStandingMargin, estimate.deviationDb);
  sum_ = std::max(0.0, sum_ + (excess - width(kDeadZone, estimate.deviationDb)) * seconds);
  return excess > margin + (hard ? kSettledMarginDb : 0) ||
         sum_ > kCrossingSum * (hard ? kSettledSums : 1);
}

void BorderRule::change(Seconds time, double lossDb) {
  if (outwards_) {
    returnsUntil_ = time + kPassing;
  } else if (time < returnsUntil_) {
    waryUntil_ = time + kWariness;
  }
  band_ = proximityAtLoss(lossDb);
  settled_ = true;
  sum_ = 0;
}

void BorderRule::begin(Seconds time, const SignalEstimate& estimate) {
  if (band_ == CLProximity::unknown) first_ = time;
  const auto nearest = proximityAtLoss(estimate.lossDb - estimate.deviationDb);
  band_ = proximityAtLoss(estimate.lossDb + estimate.deviationDb);
  certain_ = nearest == band_ || time - first_ >= kFirstLook;
}

CLProximity BorderRule::proximity(Seconds now) const {
  return certain_ || now - first_ >= kFirstLook ? band_ : CLProximity::unknown;
}

}  // namespace ks
