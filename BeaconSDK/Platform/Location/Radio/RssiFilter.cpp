#include "BeaconSDK/Platform/Location/Radio/RssiFilter.h"

#include <algorithm>
#include <cmath>

namespace ks {

namespace {

// Variances in dB^2: of one sample, and what the true value gains in a second.
constexpr double kMeasurementNoise = 25;
constexpr double kProcessNoise = 0.05;
// A sample says at most this many standard deviations.
constexpr double kLargestSurprise = 2;
// The mean of the misses in standard deviations: its time constant in seconds, what one sample may
// weigh in it, and from where on it means movement.
constexpr double kMissMemory = 6;
constexpr double kMissWeight = 0.4;
constexpr double kMoveThreshold = 0.9;
// What the mean of independent misses exceeds by chance once in 4,000 samples, in its own standard
// deviations: one that runs over few samples wanders more.
constexpr double kMoveSignificance = 3.5;

}  // namespace

void RssiFilter::add(Seconds time, Dbm rssi) {
  if (!begun_) {
    value_ = rssi.value;
    variance_ = kMeasurementNoise;
    last_ = time;
    begun_ = true;
    return;
  }
  const double elapsed = (time - last_).count();
  last_ = time;
  variance_ += kProcessNoise * elapsed;
  const double surprise = adapted(rssi.value - value_, elapsed);
  const double gain = variance_ / (variance_ + kMeasurementNoise);
  value_ += gain * surprise;
  variance_ *= 1 - gain;
}

double RssiFilter::adapted(double surprise, double elapsed) {
  const double deviation = std::sqrt(variance_ + kMeasurementNoise);
  const double limit = kLargestSurprise * deviation;
  surprise = std::clamp(surprise, -limit, limit);
  missWeight_ = std::min(kMissWeight, 1 - std::exp(-elapsed / kMissMemory));
  miss_ += missWeight_ * (surprise / deviation - miss_);
  if (std::abs(miss_) > kMoveThreshold) {
    variance_ = std::max(variance_, kMeasurementNoise * miss_ * miss_);
  }
  return surprise;
}

double RssiFilter::deviationDb() const { return std::sqrt(variance_); }

bool RssiFilter::isMoving() const {
  const double chance = kMoveSignificance * std::sqrt(missWeight_ / (2 - missWeight_));
  return std::abs(miss_) > std::max(kMoveThreshold, chance);
}

}  // namespace ks
