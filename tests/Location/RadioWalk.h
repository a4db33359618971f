#pragma once

#include <cmath>
#include <functional>
#include <numbers>
#include <optional>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"
#include "BeaconSDK/Platform/Simulated/SplitMix64.h"

namespace ks::test {

class Random : public SplitMix64 {
 public:
  using SplitMix64::SplitMix64;
  double normal() {
    const double radius = std::sqrt(-2 * std::log(1 - uniform()));
    return radius * std::cos(2 * std::numbers::pi * uniform());
  }
};

/// A beacon's signal at a moving receiver: 3 dB of noise, one packet in twelve in a multipath fade
/// of 8 to 18 dB, one in ten lost, and a body in the way (9 dB) for 3 of every 20 s.
struct RadioWalk {
  std::function<double(double time)> distance;
  double noise = 3;
  double fadeShare = 1.0 / 12;
  double lossShare = 0.1;
  double bodyLoss = 9;

  /// The strength of the packet sent at `time`; nothing when it is lost.
  std::optional<Dbm> receive(double time, Random& random) const {
    double rssi = expectedRssi(kUsualMeasuredPower, {distance(time)}).value;
    rssi += noise * random.normal();
    const bool faded = random.uniform() < fadeShare;
    const double depth = 8 + 10 * random.uniform();
    if (faded) rssi -= depth;
    if (std::fmod(time, 20) < 3) rssi -= bodyLoss;
    if (random.uniform() < lossShare) return std::nullopt;
    return Dbm{std::round(rssi)};
  }
};

}  // namespace ks::test
