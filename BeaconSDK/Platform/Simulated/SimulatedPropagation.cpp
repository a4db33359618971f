#include "BeaconSDK/Platform/Simulated/SimulatedPropagation.h"

#include <algorithm>
#include <cmath>

#include "BeaconSDK/Platform/Simulated/NormalTable.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks {

namespace {

// Each effect draws from a stream of its own, so that one does not change another.
enum Stream : std::uint64_t { kDelay = 11, kBurst, kShadowing, kBody, kFading };

/// The largest gain of Rician fading that a reach must allow for, in dB.
constexpr double kLargestFadingGain = 8;

SplitMix64 draw(std::uint64_t seed, Stream stream, std::int64_t number) {
  return SplitMix64(SplitMix64::mix(seed + stream) + static_cast<std::uint64_t>(number));
}

double secondsAt(Date at) { return secondsBetween(kSimulatedStart, at); }

/// A normally distributed number that changes steadily within `memory` seconds.
double slowNormal(std::uint64_t seed, double seconds, double memory) {
  const double place = seconds / memory;
  const auto knot = static_cast<std::int64_t>(std::floor(place));
  const double share = place - static_cast<double>(knot);
  auto before = draw(seed, kShadowing, knot);
  auto after = draw(seed, kShadowing, knot + 1);
  const double mixed = (1 - share) * NormalTable::draw(before) + share * NormalTable::draw(after);
  return mixed / std::hypot(1 - share, share);
}

/// The gain of a direct path and echoes of random phases, in dB.
double ricianGain(SplitMix64& random, double factor) {
  const double ratio = std::pow(10, factor / 10);
  const double direct = std::sqrt(ratio / (ratio + 1));
  const double echo = std::sqrt(0.5 / (ratio + 1));
  const double inPhase = direct + echo * NormalTable::draw(random);
  const double amplitude = std::hypot(inPhase, echo * NormalTable::draw(random));
  return 20 * std::log10(std::max(amplitude, 1e-3));
}

}  // namespace

Seconds SimulatedPropagation::delay(std::uint64_t seed, std::int64_t number) const {
  if (advertisingJitter <= Seconds{0}) return Seconds{0};
  return draw(seed, kDelay, number).uniform() * advertisingJitter;
}

bool SimulatedPropagation::swallows(std::uint64_t seed, Date at) const {
  const bool out =
      std::ranges::any_of(outages, [&](const DateInterval& span) { return span.contains(at); });
  if (out || burstShare <= 0) return out;
  const auto window = std::floor(secondsAt(at) / burstLength.count());
  return draw(seed, kBurst, static_cast<std::int64_t>(window)).uniform() < burstShare;
}

double SimulatedPropagation::offset(std::uint64_t seed, std::int64_t number, Date at) const {
  double sum = receiverGain.value;
  if (shadowing.value > 0) {
    sum += shadowing.value * slowNormal(seed, secondsAt(at), shadowingMemory.count());
  }
  if (bodyLoss.value > 0) {
    const double phase = draw(seed, kBody, 0).uniform() * bodyPeriod.count();
    const double time = std::fmod(secondsAt(at) + phase, bodyPeriod.count());
    if (time < bodySpan.count()) sum -= bodyLoss.value;
  }
  if (ricianFactor) {
    auto random = draw(seed, kFading, number);
    sum += ricianGain(random, *ricianFactor);
  }
  return sum;
}

double SimulatedPropagation::largestOffset() const {
  return receiverGain.value + kWidestNoise * shadowing.value +
         (ricianFactor ? kLargestFadingGain : 0);
}

}  // namespace ks
