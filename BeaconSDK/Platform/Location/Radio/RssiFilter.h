#pragma once

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Units.h"

namespace ks {

/// Smooths the signal strength of one beacon.
///
/// A Kalman filter of a random walk that is calm while the beacon stands still, limits what a
/// single outlier says, and opens up when several samples in a row miss to the same side. Constant
/// memory, no allocation. bench/LocationFilters compares it with five others.
class RssiFilter {
 public:
  /// Times never go back.
  void add(Seconds time, Dbm rssi);
  bool isEmpty() const { return !begun_; }
  /// The estimate after the last sample; meaningless before the first.
  Dbm value() const { return {value_}; }
  /// Standard deviation of the estimate in dB, for independent noise: 5 after one sample.
  double deviationDb() const;
  /// The last samples keep missing to one side: the device or the beacon moves, or something has
  /// come between them.
  bool isMoving() const;

 private:
  double adapted(double surprise, double elapsed);

  Seconds last_{0};
  double value_ = 0;
  double variance_ = 0;
  double miss_ = 0;
  double missWeight_ = 0;
  bool begun_ = false;
};

}  // namespace ks
