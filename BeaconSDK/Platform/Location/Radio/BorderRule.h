#pragma once

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// What the filter says of one beacon after a packet.
struct SignalEstimate {
  /// How much weaker the signal is than at 1 m, in dB.
  double lossDb = 0;
  /// Its standard deviation in dB.
  double deviationDb = 0;
  bool isMoving = false;
};

/// Decides whether a beacon is immediate, near or far.
///
/// A border is crossed at once when the estimate lies far beyond it, and by less when it stays
/// beyond: the excess is summed over time after Page's cumulative sum test, so that a wrong band is
/// left in the end however close to the border the beacon is. A change is harder to take back until
/// the device moves, which keeps a stand on a border calm. A body in the way looks like a
/// departure, but one that is soon taken back: after such a one departures are harder for a while.
/// Constant memory.
class BorderRule {
 public:
  /// Times never go back.
  void observe(Seconds time, const SignalEstimate& estimate);
  /// `unknown` before the first packet, and for up to `kFirstLook` after it while the first packets
  /// leave a doubt; then, in doubt, the farther band.
  CLProximity proximity(Seconds now) const;

 private:
  void begin(Seconds time, const SignalEstimate& estimate);
  /// What one packet, after so many seconds, says of the side that it lies nearer to.
  bool crosses(const SignalEstimate& estimate, double excess, double seconds, bool wary);
  void change(Seconds time, double lossDb);

  CLProximity band_ = CLProximity::unknown;
  bool certain_ = false;
  Seconds first_{0};
  Seconds last_{0};
  /// The excess beyond the border of one side, summed over time in dB s.
  double sum_ = 0;
  bool outwards_ = false;
  /// The band was changed, and nothing has moved since.
  bool settled_ = false;
  /// A return before then takes back a departure.
  Seconds returnsUntil_{0};
  /// Passers-by are known until then.
  Seconds waryUntil_{0};
};

/// How long the first packets may leave the proximity open.
inline constexpr Seconds kFirstLook{3};

}  // namespace ks
