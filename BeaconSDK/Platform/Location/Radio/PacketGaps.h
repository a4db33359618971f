#pragma once

#include <cstdint>
#include <optional>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// A beacon is not given up before this much silence.
inline constexpr Seconds kLeastSilence{30};
/// The limit for a beacon of which only one packet is known. It is taken for the slowest kind that
/// is never to be lost, a packet every 5 s of which half are lost: 24 losses in a row, 6e-8.
inline constexpr Seconds kUnlearnedSilence{120};
/// Nor is a beacon waited for longer than this, which bounds the promise: mean gaps up to 55 s.
inline constexpr Seconds kLongestSilence{900};
/// The probability that a beacon which is still there is given up in one of its gaps: for a beacon
/// that is heard every 10 s less than once in three years.
inline constexpr double kFalseExitProbability = 1e-7;

/// Learns how a beacon's packets arrive, and from that how long its silence may be.
///
/// Losses that are independent make gaps with a geometric tail, and the exponential distribution of
/// the same mean lies above that tail. So the limit is mean * ln(1 / probability), the mean taken
/// two standard errors too long while few gaps are known.
class PacketGaps {
 public:
  /// Times never go back. Packets within 50 ms of each other are one: a beacon sends on several
  /// channels, and an answer to a scan follows at once.
  void heard(Seconds time);

  /// Of silence after the last packet; from then on the beacon is gone.
  Seconds silenceLimit() const;
  /// Absent while only one packet is known.
  std::optional<Seconds> meanGap() const;

 private:
  std::optional<Seconds> last_;
  std::uint32_t count_ = 0;
  double mean_ = 0;
};

}  // namespace ks
