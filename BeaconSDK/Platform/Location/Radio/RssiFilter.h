#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Units.h"

namespace ks {

/// Smooths the signal strength of one beacon. Constant memory.
class RssiFilter {
 public:
  virtual ~RssiFilter() = default;
  /// Times never go back.
  virtual void add(Seconds time, Dbm rssi) = 0;
  /// The estimate after the last sample; meaningless before the first.
  virtual Dbm value() const = 0;
};

/// The filters that were compared in docs/location.md.
enum class RssiFilterKind {
  /// Mean of the last 5 s.
  movingAverage,
  /// Median of the last 5 s.
  movingMedian,
  /// Mean of the last 10 s without the lowest and highest tenth.
  trimmedMean,
  /// First-order low-pass with a time constant of 3 s.
  exponential,
  /// Random walk of 1 dB per square root of a second seen through 5 dB of noise.
  kalman,
  /// As `kalman`, but calmer while the beacon stands still, deaf to single outliers and quick when
  /// several samples in a row point to the same side.
  adaptiveKalman,
};

inline constexpr RssiFilterKind kChosenRssiFilter = RssiFilterKind::adaptiveKalman;

std::unique_ptr<RssiFilter> makeRssiFilter(RssiFilterKind kind = kChosenRssiFilter);
std::string_view rssiFilterName(RssiFilterKind kind);
const std::vector<RssiFilterKind>& allRssiFilters();

}  // namespace ks
