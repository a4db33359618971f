#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"

namespace ks {

/// Effects of real rooms on advertisements, in addition to each beacon's own noise and loss; all
/// off by default. Each is a function of the seed and the time, so that two devices at the same
/// place and date receive the same.
struct SimulatedPropagation {
  /// Maximum random delay of an advertisement; 10 ms in the Bluetooth standard.
  Seconds advertisingJitter{0};
  /// Standard deviation of a slow change of every beacon's strength, as by people and doors, and
  /// the time after which it is uncorrelated.
  Dbm shadowing{0};
  Seconds shadowingMemory{20};
  /// Attenuation by a body in the path, for `bodySpan` of every `bodyPeriod`.
  Dbm bodyLoss{0};
  Seconds bodySpan{3};
  Seconds bodyPeriod{20};
  /// Rician factor of each packet's fading: strength of the direct path over all echoes together,
  /// in dB. 6 is usual indoors in sight, 0 out of sight. Absent: no fading.
  std::optional<double> ricianFactor = std::nullopt;
  /// Share of time in which a beacon is not received at all, in bursts of this length.
  double burstShare = 0;
  Seconds burstLength{2};
  /// Gain of this device's receiver above the usual one.
  Dbm receiverGain{0};
  /// Intervals in which no beacon is received.
  std::vector<DateInterval> outages{};

  /// Returns the delay of advertisement `number`.
  Seconds delay(std::uint64_t seed, std::int64_t number) const;
  /// True when a burst or an outage prevents reception at `at`.
  bool swallows(std::uint64_t seed, Date at) const;
  /// Returns the change of that advertisement's strength, in dB.
  double offset(std::uint64_t seed, std::int64_t number, Date at) const;
  /// An upper bound that `offset` practically never exceeds.
  double largestOffset() const;
};

}  // namespace ks
