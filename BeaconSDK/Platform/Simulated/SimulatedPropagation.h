#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Simulated/SimulatedBeacon.h"

namespace ks {

/// What real rooms do to advertisements, besides each beacon's own noise and loss. All of it is off
/// at first. Everything is a function of the seed and the moment, so that two devices at the same
/// place and date hear the same.
struct SimulatedPropagation {
  /// Each advertisement is sent late by up to this much; the radio's standard has 10 ms.
  Seconds advertisingJitter{0};
  /// Standard deviation of a slow change of every beacon's strength, as of people and doors, and
  /// how long it takes to become another one.
  Dbm shadowing{0};
  Seconds shadowingMemory{20};
  /// What a body takes that stands in between, for `bodySpan` of every `bodyPeriod`.
  Dbm bodyLoss{0};
  Seconds bodySpan{3};
  Seconds bodyPeriod{20};
  /// Rician fading of each packet: how much stronger the direct path is than all echoes together,
  /// in dB. 6 is usual indoors in sight, 0 is out of sight. Absent: no fading.
  std::optional<double> ricianFactor = std::nullopt;
  /// The share of time in which a beacon is not received at all, in bursts of this length.
  double burstShare = 0;
  Seconds burstLength{2};
  /// How much stronger than usual this device's receiver reports.
  Dbm receiverGain{0};
  /// When nothing is received of any beacon.
  std::vector<DateInterval> outages{};

  /// How late the advertisement number `number` is.
  Seconds delay(std::uint64_t seed, std::int64_t number) const;
  /// True when bursts or outages keep what is sent at `at` from the device.
  bool swallows(std::uint64_t seed, Date at) const;
  /// What is added to the strength of that advertisement, in dB.
  double offset(std::uint64_t seed, std::int64_t number, Date at) const;
  /// More than `offset` nearly ever adds.
  double largestOffset() const;
};

}  // namespace ks
