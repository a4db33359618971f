#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks {

/// Noise is cut at this many standard deviations, so that a beacon has a reach.
inline constexpr double kWidestNoise = 4;

/// Normally distributed numbers to draw from: far faster than computing each, and more than whole
/// decibels can tell from the real thing. Mean and variance are exact.
class NormalTable {
 public:
  static double draw(SplitMix64& random) {
    static const NormalTable table;
    const std::uint64_t bits = random.next();
    const double number = table.numbers_[(bits >> 1) % kSize];
    return (bits & 1) != 0 ? number : -number;
  }

 private:
  static constexpr std::size_t kSize = 4096;

  NormalTable() {
    SplitMix64 random(kSize);
    double squares = 0;
    for (double& number : numbers_) {
      // After Box and Muller.
      const double radius = std::sqrt(-2 * std::log(1 - random.uniform()));
      number = radius * std::cos(2 * std::numbers::pi * random.uniform());
      squares += number * number;
    }
    const double deviation = std::sqrt(squares / kSize);
    for (double& number : numbers_) {
      number = std::clamp(number / deviation, -kWidestNoise, kWidestNoise);
    }
  }

  std::array<double, kSize> numbers_{};
};

}  // namespace ks
