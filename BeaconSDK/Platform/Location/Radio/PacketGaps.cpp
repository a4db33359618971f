#include "BeaconSDK/Platform/Location/Radio/PacketGaps.h"

#include <algorithm>
#include <cmath>

namespace ks {

namespace {
constexpr Seconds kSamePacket{0.05};
// The mean runs over about the last 64 gaps, so that the few long ones at the edge of the range
// hardly count when the device walks away.
constexpr double kLeastWeight = 1.0 / 64;
constexpr std::uint32_t kEnoughGaps = 1u << 20;
}  // namespace

void PacketGaps::heard(Seconds time) {
  const auto gap = last_ ? time - *last_ : Seconds{0};
  if (last_ && gap < kSamePacket) return;
  // Longer than the limit, the beacon was away: that gap says nothing about its packets.
  const bool wasThere = last_ && gap <= silenceLimit();
  last_ = time;
  if (!wasThere) return;
  if (count_ < kEnoughGaps) ++count_;
  mean_ += std::max(1.0 / count_, kLeastWeight) * (gap.count() - mean_);
}

Seconds PacketGaps::silenceLimit() const {
  static const double kFactor = -std::log(kFalseExitProbability);
  if (count_ == 0) return kUnlearnedSilence;
  const double longMean = mean_ * (1 + 2 / std::sqrt(count_));
  return std::clamp(Seconds{longMean * kFactor}, kLeastSilence, kLongestSilence);
}

std::optional<Seconds> PacketGaps::meanGap() const {
  if (count_ == 0) return std::nullopt;
  return Seconds{mean_};
}

}  // namespace ks
